// Failures and time: the number of processors.
#pragma once

#include "platform/Export.h"

namespace Vorn::CPUInfo {

/// The number of processors: the platform's first answer above 0, kept from then on. Any thread.
VORN_EXPORT unsigned getNumProcessors();

}  // namespace Vorn::CPUInfo
