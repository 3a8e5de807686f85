// Platform contract: the root object through which the library reaches the system.
#pragma once

#include "platform/Export.h"

class iAtomicServices;
class iFileServices;
class iMemoryServices;
class iPathServices;
class iSystemInfo;
class iTextServices;
class iThreadServices;

/// Gives access to the sub-services. Every accessor returns the same non-null object at each call.
/// The object belongs to the platform; the library never deletes it.
///
/// The accessors run at every allocation and at every change of a reference count, on any thread,
/// even during static initialisation and termination. So they only return what already exists, and
/// do not allocate.
///
/// In every interface of the contract the order of the declarations is the binary interface.
/// `reservedN()` keeps position N; the library never calls it.
class VORN_EXPORT iSystemServices {
public:
    virtual ~iSystemServices() = default;

    virtual iMemoryServices* memoryServices() = 0;
    virtual iTextServices* textServices() = 0;
    virtual iFileServices* fileServices() = 0;
    virtual iThreadServices* threadServices() = 0;
    virtual iAtomicServices* atomicServices() = 0;
    virtual void reserved6() {}
    virtual void reserved7() {}
    virtual iSystemInfo* systemInfo() = 0;
    virtual void reserved9() {}
    virtual void reserved10() {}
    virtual iPathServices* pathServices() = 0;
};

/// The one services object of the process, and the only symbol that the library imports from the
/// platform library. Never null, always the same, usable from before the first static initialiser
/// until after the last static destructor.
VORN_EXPORT iSystemServices* OS();
