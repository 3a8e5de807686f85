// Failures and time: the timed console log.
#pragma once

#include "platform/Export.h"

namespace Vorn {

/// Writes the seconds since its first call, ": " and the formatted text to standard output, as
/// "%-9.3f: %s". It adds no line end; text of 4096 bytes and more is cut to 4095. Takes no lock:
/// one thread at a time.
[[gnu::format(printf, 1, 2)]] VORN_EXPORT void LogTimed(const char* format, ...);

}  // namespace Vorn
