// Platform contract: the atomic operations behind every shared count and the lock-free stack.
#pragma once

#include <cstdint>

#include "platform/Export.h"

/// Each operation is one atomic step and a full barrier for the plain reads and writes around it:
/// the library uses no fences of its own. Any thread may call any operation at any time.
class VORN_EXPORT iAtomicServices {
public:
    virtual ~iAtomicServices() = default;

    /// Adds 1 to `*counter`. Must not throw.
    virtual void increment(std::int32_t* counter) = 0;
    /// Subtracts 1 from `*counter` and returns the new value. The caller that gets 0 destroys the
    /// counted object. Must not throw.
    virtual std::int32_t decrement(std::int32_t* counter) = 0;
    virtual void reserved3() {}
    virtual void reserved4() {}
    virtual void reserved5() {}
    /// Stores `exchange` in `*target` if that equals `comparand`. Returns the previous value of
    /// `*target`: the exchange took place if and only if that is `comparand`.
    virtual void* compareExchangePointer(void** target, void* exchange, void* comparand) = 0;
};
