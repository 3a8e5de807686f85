// A module with a logger of its own, which has nothing in common with its program but a type's
// name.

#include "Vorn/PooledObjectDebug.h"
#include "Vorn/VornNamedObjects.h"

struct Shared {};

static const Vorn::PooledObjectDebug::LoggingTraitsBase logger("module");

// Registers a `Shared` and returns this module's view of the type.
extern "C" VORN_EXPORT const std::type_info* share() {
    new Vorn::PooledObjectDebug::LoggingTraitsBase("left by module");
    Vorn::NamedObjectsNamespace::getGlobalNamespaceInstance()->create("shared", new Shared);
    return &typeid(Shared);
}
