#include "Vorn/CriticalSection.h"

#include <cstddef>

#include "platform/OS.h"
#include "platform/iThreadServices.h"

static_assert(sizeof(CriticalSection) == sizeof(Vorn::Ptr<CriticalSection::Rep>));
static_assert(offsetof(CriticalSection::Rep, lock) == 0);
static_assert(offsetof(CriticalSection::Rep, count) == 16);
static_assert(offsetof(CriticalSection::Rep, ownerId) == 20);
static_assert(offsetof(CriticalSection::Rep, name) == 24);
static_assert(sizeof(CriticalSection::Rep) == 32);

CriticalSection::Rep::Rep(unsigned value)
    : lock(OS()->threadServices()->createCriticalSection(value)) {}

CriticalSection::CriticalSection() {
    init(0);
}

CriticalSection::CriticalSection(const char* name) {
    init(0);
    setName(name);
}

CriticalSection::CriticalSection(unsigned int value) {
    init(value);
}

CriticalSection::~CriticalSection() = default;

void CriticalSection::init(unsigned int value) {
    const auto fresh = Vorn::makePtr<Rep>(value);
    rep = fresh;
}

void CriticalSection::setName(const char* name) {
    rep->name = String(name);
}

void CriticalSection::enter() {
    rep->lock->enter();
    noteEntry();
}

void CriticalSection::leave() {
    if (--rep->count == 0) rep->ownerId.store(0, std::memory_order_relaxed);
    rep->lock->leave();
}

int CriticalSection::attemptEntry() {
    if (!rep->lock->tryEnter()) return -1;
    noteEntry();
    return 0;
}

unsigned CriticalSection::owner() {
    return rep->ownerId.load(std::memory_order_relaxed);
}

void CriticalSection::debugPrint() {}

void CriticalSection::noteEntry() {
    if (rep->count++ == 0)
        rep->ownerId.store(OS()->threadServices()->currentThreadId(), std::memory_order_relaxed);
}
