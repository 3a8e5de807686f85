// Pool diagnostics: where the report is written.
#pragma once

#include "Vorn/WString.h"
#include "platform/Export.h"

namespace Vorn::PathsLite {

/// The system logs folder, with a path separator at its end: "Vornhold", separator and "Logs"
/// behind the base folder that the platform names. Nothing is created. Any thread; throws
/// `std::bad_alloc`.
VORN_EXPORT WString getSystemLogsPath();

}  // namespace Vorn::PathsLite
