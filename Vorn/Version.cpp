#include "Vorn/Version.h"

const char* vornDllVersionStr() {
    return VORN_VERSION;
}
