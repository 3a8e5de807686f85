#include "Vorn/PathsLite.h"

#include "platform/OS.h"
#include "platform/iFileServices.h"
#include "platform/iPathServices.h"

namespace Vorn::PathsLite {

WString getSystemLogsPath() {
    constexpr int kLogsBase = 4;
    WString path = OS()->pathServices()->getFolderPath(kLogsBase);
    path += L"Vornhold";
    path += OS()->fileServices()->pathSeparator();
    path += L"Logs";
    path += OS()->fileServices()->pathSeparator();
    return path;
}

}  // namespace Vorn::PathsLite
