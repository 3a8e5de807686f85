// What the module of the host matrix and its hosts, in any language, know of each other.
#pragma once

#include <stddef.h>

/// What a host does by itself. Texts are null in a host that knows none.
typedef struct {
    /// A block of `new char[bytes]`.
    void* (*makesBlock)(size_t bytes);
    void (*freesBlock)(void* block);
    /// A `std::string` of `new`, which the C++ runtime makes longer.
    void* (*makesText)(void);
    const char* (*growsText)(void* text);
    void (*freesText)(void* text);
    /// The module's, which outlives it. Null at first.
    void* keptBlock;
} Host;

/// The module's symbol "play". Plays a scenario, which may write into the folder; `allocator` is
/// "mimalloc" or "libc", what the library is to allocate from. Returns what went wrong, or null.
typedef const char* Play(const char* scenario, Host* host, const char* folder,
                         const char* allocator);
