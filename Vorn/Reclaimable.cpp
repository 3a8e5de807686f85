#include "Vorn/Reclaimable.h"

#include "platform/OS.h"
#include "platform/iMemoryServices.h"

Reclaimable::Reclaimable() {
    OS()->memoryServices()->registerReclaimable(this);
}

Reclaimable::Reclaimable(const Reclaimable&) : Reclaimable() {}

Reclaimable::~Reclaimable() {
    OS()->memoryServices()->unregisterReclaimable(this);
}
