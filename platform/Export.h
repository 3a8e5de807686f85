// Platform contract: marks everything that one shared library exports to another.
#pragma once

#if __cplusplus < 202002L
#error "Vorn needs C++20: compile with -std=c++20 or later"
#include <C++20>  // There is none: this ends the compilation before errors that only confuse.
#endif

#ifdef _GLIBCXX_DEBUG
#error "Vorn works with _GLIBCXX_ASSERTIONS, not _GLIBCXX_DEBUG, which changes std::vector"
#endif

/// Puts a declaration into the binary interface of the library that defines it. Both libraries are
/// built with hidden visibility. A class that is thrown, or caught or cast in another module, must
/// be marked as a whole, so that its type information exists once in the process.
#define VORN_EXPORT __attribute__((visibility("default")))

/// Marks the definition of an exported function that a client may replace for every module. On
/// macOS the loader lets only weak definitions be replaced.
#ifdef __APPLE__
#define VORN_REPLACEABLE VORN_EXPORT __attribute__((weak))
#else
#define VORN_REPLACEABLE VORN_EXPORT
#endif
