#include "Vorn/SubString.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>

static_assert(offsetof(SubStringRep, string) == 0);
static_assert(offsetof(SubStringRep, index) == 8);
static_assert(offsetof(SubStringRep, size) == 12);
static_assert(offsetof(SubStringRep, refCount) == 16);
static_assert(sizeof(SubStringRep) == 24);
static_assert(sizeof(SubString) == sizeof(void*));

SubStringRep::SubStringRep(const String& s) noexcept
    : string(s), index(0), size(s.size()), refCount(0) {}

SubStringRep::SubStringRep(const String& s, unsigned at) noexcept
    : SubStringRep(s, at, s.size() - at) {}

SubStringRep::SubStringRep(const String& s, unsigned at, unsigned count) noexcept
    : string(s), index(at), size(count), refCount(0) {
    clip();
}

void SubStringRep::clip() noexcept {
    if (index < string.size())
        size = std::min(size, string.size() - index);
    else
        clear();
}

void SubStringRep::clear() noexcept {
    index = size = 0;
}

SubString::SubString(const String& s) : rep(new SubStringRep(s)) {
    rep->refCount = 1;
}

SubString::SubString(const String& s, unsigned index) : rep(new SubStringRep(s, index)) {
    rep->refCount = 1;
}

SubString::SubString(const String& s, unsigned index, unsigned count)
    : rep(new SubStringRep(s, index, count)) {
    rep->refCount = 1;
}

SubString::SubString(const SubString& other) noexcept : rep(other.rep) {
    if (rep) ++rep->refCount;
}

SubString::~SubString() {
    purge();
}

SubString& SubString::operator=(const SubString& other) noexcept {
    SubString copy(other);
    std::swap(rep, copy.rep);
    return *this;
}

SubString& SubString::operator=(const String& s) {
    return *this = SubString(s);
}

unsigned SubString::index() const noexcept {
    return rep ? rep->index : 0;
}

unsigned SubString::size() const noexcept {
    return rep ? rep->size : 0;
}

bool SubString::operator==(const SubString& other) const noexcept {
    if (rep == other.rep) return true;
    if (size() != other.size()) return false;
    if (size() == 0) return true;
    return std::strncmp(rep->string.textAt(index()), other.rep->string.textAt(other.index()),
                        size()) == 0;
}

void SubString::purge() noexcept {
    if (rep && rep->refCount-- <= 1) delete rep;
    rep = nullptr;
}
