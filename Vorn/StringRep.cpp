#include "Vorn/StringRep.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cctype>
#include <cstddef>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <utility>

#include "platform/OS.h"
#include "platform/iAtomicServices.h"

static_assert(offsetof(StringRep, buffer) == 0);
static_assert(offsetof(StringRep, length) == 8);
static_assert(offsetof(StringRep, capacity) == 12);
static_assert(offsetof(StringRep, refCount) == 16);
static_assert(sizeof(StringRep) == 24);

namespace {

constexpr std::uint64_t kLengthLimit = 1ull << 31;
constexpr unsigned kNotFound = 0xFFFFFFFF;

unsigned checkedLength(std::uint64_t n) {
    if (n >= kLengthLimit) throw std::bad_alloc();
    return static_cast<unsigned>(n);
}

void copyBytes(char* to, const char* from, std::size_t n) {
    if (n > 0) std::memmove(to, from, n);
}

bool liesIn(const char* p, const char* block, std::size_t size) {
    return std::less_equal<>()(block, p) && std::less<>()(p, block + size);
}

// What is looked for in texts that end at `end`, their first zero byte. If empty it matches before
// every character.
struct Needle {
    explicit Needle(const char* s) : text(s), size(std::strlen(s)) {}

    const char* findIn(const char* start, const char* end) const {
        if (start == end) return nullptr;
        if (size != 1) return std::strstr(start, text);
        const auto left = static_cast<std::size_t>(end - start);
        return static_cast<const char*>(std::memchr(start, text[0], left));
    }

    std::size_t countIn(const char* start, const char* end) const {
        if (size == 1) return static_cast<std::size_t>(std::count(start, end, text[0]));
        std::size_t matches = 0;
        for (const char* at = start; (at = findIn(at, end)); at += step()) ++matches;
        return matches;
    }

    std::size_t step() const { return std::max<std::size_t>(size, 1); }

    const char* text;
    std::size_t size;
};

}  // namespace

StringRep::StringRep() noexcept {
    init();
}

StringRep::StringRep(const char* s, unsigned n) {
    init();
    if (!s) n = 0;
    buffer = new char[checkedLength(n) + 1];
    copyBytes(buffer, s, n);
    buffer[n] = 0;
    length = n;
    capacity = n + 1;
}

StringRep* StringRep::withRoom(unsigned length, unsigned capacity) {
    void* const block = ::operator new(sizeof(StringRep) + capacity);
    auto* const rep = new (block) StringRep();
    rep->hasRoom = true;
    rep->buffer = reinterpret_cast<char*>(rep + 1);
    rep->buffer[length] = 0;
    rep->length = length;
    rep->capacity = capacity;
    return rep;
}

StringRep* StringRep::copyOf(const char* s, unsigned n) {
    StringRep* const rep = withRoom(checkedLength(n), n + 1);
    std::memcpy(rep->buffer, s, n);
    return rep;
}

StringRep::~StringRep() {
    purge();
}

void StringRep::init() noexcept {
    buffer = nullptr;
    length = capacity = 0;
    refCount = 0;
}

void StringRep::purge() noexcept {
    release(std::exchange(buffer, nullptr));
    length = capacity = 0;
}

StringRep& StringRep::operator=(const char* s) {
    if (!s) {
        purge();
        return *this;
    }
    const unsigned n = checkedLength(std::strlen(s));
    edit(0, length, s, n, n + 1);
    return *this;
}

StringRep& StringRep::operator=(char c) {
    edit(0, length, &c, 1, 2);
    return *this;
}

unsigned StringRep::sizeFor(unsigned n) {
    return std::bit_ceil(checkedLength(n) + 1);
}

bool StringRep::resizeFor(unsigned n) {
    const unsigned size = sizeFor(n);
    if (size != capacity) edit(std::min(length, size - 1), length, nullptr, 0, size);
    return true;
}

char* StringRep::realloc(void* old, unsigned size) {
    char* const block = new char[size];
    if (old) {
        std::memcpy(block, old, std::min(capacity, size));
        release(static_cast<char*>(old));
    }
    return block;
}

void StringRep::append(const char* s, unsigned n) {
    if (!s || !appendInPlace(s, n)) insert(s, n, 0, length);
}

void StringRep::append(const char* s) {
    if (s) append(s, checkedLength(std::strlen(s)));
}

void StringRep::append(char c) {
    append(&c, 1);
}

bool StringRep::expandTo(unsigned n) {
    if (length < n) edit(n, 0, nullptr, 0, sizeFor(n));
    return true;
}

void StringRep::replace(const char* src, unsigned n, unsigned srcOffset, unsigned at) {
    if (!src) n = srcOffset = 0;
    const std::uint64_t end = std::uint64_t{at} + n;
    const bool grows = at >= length || end > length;
    const unsigned size = grows ? sizeFor(checkedLength(end)) : capacity;
    edit(at, n, src + srcOffset, n, size);
}

void StringRep::insert(const char* src, unsigned n, unsigned srcOffset, unsigned at) {
    if (!src) n = srcOffset = 0;
    const std::uint64_t grown = std::uint64_t{std::max(at, length)} + n;
    edit(at, 0, src + srcOffset, n, sizeFor(checkedLength(grown)));
}

void StringRep::remove(unsigned pos, unsigned n) {
    if (pos < length) edit(pos, n, nullptr, 0, capacity);
}

// One pass: growing builds the new text in a block of its own, shrinking compacts it in place.
void StringRep::substitute(const char* from, const char* to) {
    if (length == 0) return;
    if (!to) to = "";
    const Needle needle(from ? from : "");
    const std::size_t toSize = std::strlen(to);
    const char* const end = buffer + std::strlen(buffer);
    const std::size_t matches = needle.countIn(buffer, end);
    if (matches == 0) return;
    const unsigned newLength = checkedLength(length - matches * needle.size + matches * toSize);
    const unsigned size = toSize > needle.size ? sizeFor(newLength) : capacity;
    const bool inPlace = toSize <= needle.size && !liesIn(needle.text, buffer, capacity) &&
                         !liesIn(to, buffer, capacity);

    char* const target = inPlace ? buffer : new char[size];
    char* out = target;
    const char* rest = buffer;
    for (const char* match = needle.findIn(buffer, end); match;) {
        const char* const next = needle.findIn(match + needle.step(), end);
        const auto gap = static_cast<std::size_t>(match - rest);
        std::memmove(out, rest, gap);
        copyBytes(out + gap, to, toSize);
        out += gap + toSize;
        rest = match + needle.size;
        match = next;
    }
    std::memmove(out, rest, static_cast<std::size_t>(buffer + length + 1 - rest));
    take(target, newLength, size);
}

void StringRep::rotateLeft(unsigned n) {
    if (length >= 2) std::rotate(buffer, buffer + n % length, buffer + length);
}

void StringRep::toUpper() {
    for (char* c = buffer; c != buffer + length; ++c)
        *c = static_cast<char>(std::toupper(static_cast<signed char>(*c)));
}

void StringRep::toLower() {
    for (char* c = buffer; c != buffer + length; ++c)
        *c = static_cast<char>(std::tolower(static_cast<signed char>(*c)));
}

unsigned StringRep::index(const char* needle, unsigned from) const {
    if (from >= length) return kNotFound;
    const char* const found = std::strstr(buffer + from, needle ? needle : "");
    return found ? static_cast<unsigned>(found - buffer) : kNotFound;
}

StringRep* StringRep::unshare() const {
    auto* const self = const_cast<StringRep*>(this);
    if (std::atomic_ref(self->refCount).load(std::memory_order_acquire) < 2) return self;
    StringRep* const copy =
        buffer ? copyOf(buffer, static_cast<unsigned>(std::strlen(buffer))) : new StringRep();
    OS()->atomicServices()->increment(&copy->refCount);
    if (OS()->atomicServices()->decrement(&self->refCount) == 0) delete self;
    return copy;
}

// Puts the `n` bytes at `src` in place of the `removed` bytes at `at`, in a buffer of `size` bytes.
// Spaces fill a gap before `at`.
void StringRep::edit(unsigned at, unsigned removed, const char* src, unsigned n, unsigned size) {
    const unsigned kept = std::min(at, length);
    const unsigned tail = length - kept - std::min(removed, length - kept);
    const char* const oldTail = buffer + (length - tail);
    const bool inPlace = size == capacity && !liesIn(src, buffer, capacity);

    char* const target = inPlace ? buffer : new char[size];
    if (!inPlace) copyBytes(target, buffer, kept);
    copyBytes(target + at + n, oldTail, tail);
    std::memset(target + kept, ' ', at - kept);
    copyBytes(target + at, src, n);
    target[at + n + tail] = 0;
    take(target, at + n + tail, size);
}

void StringRep::take(char* text, unsigned newLength, unsigned size) noexcept {
    if (text != buffer) release(buffer);
    buffer = text;
    length = newLength;
    capacity = size;
}

void StringRep::release(char* text) noexcept {
    if (!hasRoom || text != reinterpret_cast<char*>(this + 1)) delete[] text;
}
