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

/// Null until it is settled.
extern std::atomic<const Allocator*> settledAllocator;

const Allocator& settleAllocator() noexcept;

/// The process's allocator, the same one at every call. Any thread, from before the first static
/// initialiser on. The first call takes the loader's locks for a moment.
inline const Allocator& allocator() noexcept {
    const Allocator* const settled = settledAllocator.load(std::memory_order_relaxed);
    return settled ? *settled : settleAllocator();
}

}  // namespace posix
