// Platform contract: locks and thread identities.
#pragma once

#include "Vorn/Ptr.h"
#include "platform/Export.h"
#include "platform/iCriticalSection.h"

/// Any thread may call any operation at any time.
class VORN_EXPORT iThreadServices {
public:
    virtual ~iThreadServices() = default;

    /// A new, free lock. `value` is the argument of `CriticalSection(unsigned)`, and 0 for its
    /// other constructors; the platform decides what it means.
    virtual Vorn::Ptr<iCriticalSection> createCriticalSection(unsigned value) = 0;
    virtual void reserved2() {}
    virtual void reserved3() {}
    virtual void reserved4() {}
    virtual void reserved5() {}
    virtual void reserved6() {}
    virtual void reserved7() {}
    virtual void reserved8() {}
    /// The identity of the calling thread: the same at every call on one thread, different for any
    /// two threads that live at the same time, and never 0, which means "no thread". Must not
    /// throw.
    virtual unsigned currentThreadId() = 0;
};
