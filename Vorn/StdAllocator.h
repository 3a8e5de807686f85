// Memory: the allocator of the standard strings.
#pragma once

#include <cstddef>
#include <new>

#include "platform/Export.h"
#include "platform/OS.h"
#include "platform/iMemoryServices.h"

/// Standard allocator that calls the platform's memory services directly, not `operator new`. It
/// has no state: any instance frees what another allocated. As thread-safe as those services.
template <class T>
class VORN_EXPORT StdAllocator {
public:
    using value_type = T;

    StdAllocator() noexcept = default;
    template <class U>
    StdAllocator(const StdAllocator<U>&) noexcept {}

    /// Room for `n` objects. Throws `std::bad_alloc`.
    T* allocate(std::size_t n) {
        if (n > static_cast<std::size_t>(-1) / sizeof(T)) throw std::bad_array_new_length();
        return static_cast<T*>(OS()->memoryServices()->allocate(n * sizeof(T)));
    }
    void deallocate(T* block, std::size_t) noexcept { OS()->memoryServices()->free(block); }

    template <class U>
    bool operator==(const StdAllocator<U>&) const noexcept {
        return true;
    }
};
