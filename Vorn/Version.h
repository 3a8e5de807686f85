// Memory: the version of the loaded library.
#pragma once

#include "platform/Export.h"

/// The version of the headers: two digits each for all numbers but the first.
#define VORN_VERSION 12000200

/// The library's version as static text, "12.0.2.0".
VORN_EXPORT const char* vornDllVersionStr();
