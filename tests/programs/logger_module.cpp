// A module with a logger that ends with it, and one that it leaves behind.

#include "Vorn/PooledObjectDebug.h"

using Logger = Vorn::PooledObjectDebug::LoggingTraitsBase;

static const Logger ownLogger("module");
static const Logger* const leftLogger = new Logger("left by module");
