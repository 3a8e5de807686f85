// Platform contract: locks and thread identities.
#pragma once

#include "Vorn/Ptr.h"
#include "platform/Export.h"
#include "platform/iCriticalSection.h"

/// Any thread may call any operation at any time.
class VORN_EXPORT iThreadServices {
public:
    virtual ~iThreadServices() = default;

    /// A new, free lock. `value` comes from `CriticalSection(unsigned)`, 0 from its other
    /// constructors; its meaning is the platform's.
    virtual Vorn::Ptr<iCriticalSection> createCriticalSection(unsigned value) = 0;
    virtual void reserved2() {}
    virtual void reserved3() {}
    virtual void reserved4() {}
    virtual void reserved5() {}
    virtual void reserved6() {}
    virtual void reserved7() {}
    virtual void reserved8() {}
    /// The identity of the calling thread: the same at every call of one thread, different for any
    /// two that live at the same time, never 0, which stands for "no thread". Must not
    /// throw.
    virtual unsigned currentThreadId() = 0;
};
