#include "Vorn/Time.h"

#include "platform/OS.h"
#include "platform/iTextServices.h"

namespace Vorn {

double now() {
    return OS()->textServices()->nowMilliseconds();
}

double SecondsNow() {
    return now() / 1000.0;
}

}  // namespace Vorn
