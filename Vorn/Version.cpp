#include "Vorn/Version.h"

namespace {

constexpr int numberOf(int major, int minor, int patch, int tweak) {
    return ((major * 100 + minor) * 100 + patch) * 100 + tweak;
}
static_assert(numberOf(VORN_VERSION_PARTS) == VORN_VERSION);

}  // namespace

const char* vornDllVersionStr() {
    return VORN_VERSION_TEXT;
}
