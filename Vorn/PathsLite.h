// Pool diagnostics: where the report is written.
#pragma once

#include "Vorn/WString.h"
#include "platform/Export.h"

namespace Vorn::PathsLite {

/// The system logs folder, ending in a path separator: "Vornhold", separator and "Logs", appended
/// to the platform's base folder. Creates nothing. Any thread; throws `std::bad_alloc`.
VORN_EXPORT WString getSystemLogsPath();

}  // namespace Vorn::PathsLite
