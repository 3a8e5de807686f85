// Platform contract: the allocator behind every `new` and `delete` of the library and its clients.
#pragma once

#include <cstddef>

#include "platform/Export.h"

class iReclaimable;

/// Any thread may call any operation at any time.
class VORN_EXPORT iMemoryServices {
public:
    virtual ~iMemoryServices() = default;

    /// A new block of at least `bytes` bytes, which may be 0. Throws `std::bad_alloc` if there is
    /// none; any other exception ends the process if it comes out of a global `operator new`. A
    /// null result reaches the caller of `new` unchecked. Must not use the global `operator new`,
    /// which calls it.
    virtual void* allocate(std::size_t bytes) = 0;
    virtual void reserved2() {}
    /// Releases a block from `allocate`. Null is accepted and ignored. Must not throw.
    virtual void free(void* block) = 0;
    /// Gives back at least `bytes` bytes if the registered objects can, and returns how many. The
    /// application calls it to get memory back, at a moment when no reclaimable object is being
    /// constructed or destroyed; the library never calls it.
    virtual std::size_t reclaim(std::size_t bytes) {
        static_cast<void>(bytes);
        return 0;
    }
    virtual void reserved5() {}
    /// Called while only the base part of `object` exists: its operations are still pure and must
    /// not be called from here. May throw; the object is then not constructed.
    virtual void registerReclaimable(iReclaimable* object) = 0;
    /// Called when the derived parts of `object` have been destroyed. `object` must not be called
    /// after this returns. Must not throw.
    virtual void unregisterReclaimable(iReclaimable* object) = 0;
};
