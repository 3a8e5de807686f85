// Memory: the version of the loaded library.
#pragma once

#include "platform/Export.h"

/// The version of the headers. Every number after the first has two digits.
#define VORN_VERSION 12000200

/// The version of the loaded library as static text, "12.0.2.0".
VORN_EXPORT const char* vornDllVersionStr();
