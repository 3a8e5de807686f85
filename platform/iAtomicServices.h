// Platform contract: the atomic steps behind every shared count and the lock-free stack.
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
    /// Subtracts 1 from `*counter` and returns the new value. Whoever gets 0 destroys the object
    /// that is counted. Must not throw.
    virtual std::int32_t decrement(std::int32_t* counter) = 0;
    virtual void reserved3() {}
    virtual void reserved4() {}
    virtual void reserved5() {}
    /// Stores `exchange` in `*target` if that equals `comparand`. Returns what `*target` held
    /// before: the exchange took place exactly when that is `comparand`.
    virtual void* compareExchangePointer(void** target, void* exchange, void* comparand) = 0;
};
