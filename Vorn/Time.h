// Failures and time: the clock.
#pragma once

#include "platform/Export.h"

namespace Vorn {

/// The platform's clock in milliseconds. Only the difference between two readings has a meaning.
/// Any thread.
VORN_EXPORT double now();

/// The same clock in seconds.
VORN_EXPORT double SecondsNow();

}  // namespace Vorn
