// Memory: the version of the loaded library.
#pragma once

#include "platform/Export.h"

/// The library's version as static text, "12.0.2.0".
VORN_EXPORT const char* vornDllVersionStr();
