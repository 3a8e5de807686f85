// Platform contract: a re-entrant lock.
#pragma once

#include "platform/Export.h"

/// Reaches the library inside an internally counted `Vorn::Ptr<iCriticalSection>`, built with
/// `Ptr::adopt` over a 32-bit counter in the object, which already counts that handle. The last
/// handle deletes the object; the destructor must not throw. Any thread may call `enter` and
/// `tryEnter` at any time.
class VORN_EXPORT iCriticalSection {
public:
    virtual ~iCriticalSection() = default;

    /// Blocks until the calling thread holds the lock. A thread that already holds it enters again
    /// at once.
    virtual void enter() = 0;
    /// If the lock is free or held by the caller, enters it and returns true; otherwise returns
    /// false at once.
    virtual bool tryEnter() = 0;
    /// Gives up one entry; the lock is free when all are given up. Only the holder may call it.
    /// Must not throw.
    virtual void leave() = 0;
};
