// Platform library for POSIX systems: what its memory services allocate from.
#pragma once

#include <atomic>
#include <cstddef>

namespace posix {

/// Answers as `malloc` and `free` do.
struct Allocator {
    void* (*allocate)(std::size_t bytes);
    void (*free)(void* block);
};

/// Until the first use, one that settles which it is.
extern std::atomic<const Allocator*> currentAllocator;

/// The process's allocator. Any thread, from before the first static initialiser on. The first use
/// takes the loader's locks for a moment.
inline const Allocator& allocator() noexcept {
    return *currentAllocator.load(std::memory_order_relaxed);
}

}  // namespace posix
