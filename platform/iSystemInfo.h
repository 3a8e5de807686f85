// Platform contract: facts about the machine.
#pragma once

#include "platform/Export.h"

/// Any thread may call any operation at any time.
class VORN_EXPORT iSystemInfo {
public:
    virtual ~iSystemInfo() = default;

    /// The number of processors, or 0 while it is unknown; the library then asks again.
    virtual unsigned getNumProcessors() = 0;
};
