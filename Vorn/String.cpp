#include "Vorn/String.h"

#include <strings.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <istream>

#include "Vorn/SplitPrivate.h"
#include "Vorn/StringRep.h"
#include "Vorn/SubString.h"
#include "Vorn/Vector.h"
#include "Vorn/WStringUtils.h"
#include "platform/OS.h"
#include "platform/iAtomicServices.h"

static_assert(sizeof(String) == sizeof(void*));
static_assert(sizeof(StringChar) == 2 * sizeof(void*));

namespace {

constexpr unsigned kNotFound = 0xFFFFFFFF;

bool isShared(StringRep& rep) {
    return std::atomic_ref(rep.refCount).load(std::memory_order_acquire) > 1;
}

unsigned positionOf(const char* found, const StringRep& in) {
    return found ? static_cast<unsigned>(found - in.buffer) : kNotFound;
}

// A length past the limit stays past it, and is refused where the text is copied.
unsigned clipped(std::size_t n) {
    return static_cast<unsigned>(std::min<std::size_t>(n, 0xFFFFFFFF));
}

unsigned lengthOf(const char* s) {
    return clipped(std::strlen(s));
}

template <std::size_t Size, class Number>
String& appendNumber(String& text, const char* format, Number v) {
    char digits[Size];
    std::snprintf(digits, Size, format, v);
    return text += digits;
}

}  // namespace

String::String(StringRep* fresh) noexcept : rep(fresh) {
    OS()->atomicServices()->increment(&rep->refCount);
}

String::String(const char* s) {
    if (s) *this = String(StringRep::copyOf(s, lengthOf(s)));
}

String::String(const char* s, unsigned n) {
    if (s && n > 0) *this = String(StringRep::copyOf(s, n));
}

String::String(char c) : String(StringRep::copyOf(&c, 1)) {}

String::String(char c, unsigned count)
    : String(StringRep::withRoom(count, StringRep::sizeFor(count))) {
    std::memset(rep->buffer, c, count);
}

String::String(const String& other) noexcept : rep(other.rep) {
    if (rep) OS()->atomicServices()->increment(&rep->refCount);
}

String::String(const String& s, unsigned n) {
    if (s.size() > 0) *this = String(StringRep::copyOf(s.rep->buffer, std::min(n, s.size())));
}

String::String(const SubString& sub) {
    const StringRep* const viewed = sub.rep ? sub.rep->string.text() : nullptr;
    if (viewed) *this = String(StringRep::copyOf(viewed->buffer + sub.index(), sub.size()));
}

String::String(int v) {
    *this += v;
}

String::String(unsigned v) {
    *this += v;
}

String::String(double v) {
    *this += v;
}

String::String(const wchar_t* w) : String(Vorn::UTF8FromWString(WString(w)).c_str()) {}

void String::release() noexcept {
    if (OS()->atomicServices()->decrement(&rep->refCount) == 0) delete rep;
}

String& String::operator=(const String& other) noexcept {
    if (rep != other.rep) *this = String(other);
    return *this;
}

String& String::operator=(char c) {
    return *this = String(c);
}

// The representation if there is text to read, if only "".
const StringRep* String::text() const noexcept {
    return rep && rep->buffer ? rep : nullptr;
}

// Changes the representation in place if no other string holds it. A shared one is copied up to its
// first zero byte, and the copy takes its place only when the change is made.
template <class Edit>
String& String::edit(Edit change) {
    if (rep && !isShared(*rep)) {
        change(*rep);
        return *this;
    }
    String copy(text() ? StringRep::copyOf(rep->buffer, lengthOf(rep->buffer)) : new StringRep());
    change(*copy.rep);
    std::swap(rep, copy.rep);
    return *this;
}

// A copy of `a`, up to its first zero byte, that has grown by the `n` bytes at `b`.
String String::joined(const char* a, const char* b, unsigned n) {
    const std::size_t kept = std::strlen(a);
    const unsigned length = clipped(kept + n);
    String whole(StringRep::withRoom(length, StringRep::sizeFor(length)));
    std::memcpy(whole.rep->buffer, a, kept);
    std::memcpy(whole.rep->buffer + kept, b, n);
    return whole;
}

inline String& String::append(const char* s, unsigned n) {
    const bool done = rep && !isShared(*rep) && rep->appendInPlace(s, n);
    return done ? *this : grow(s, n);
}

// Kept out of `append`, which is to stay small.
[[gnu::noinline]] String& String::grow(const char* s, unsigned n) {
    if (!rep) return *this = String(StringRep::copyOf(s, n));
    if (isShared(*rep)) return *this = joined(*this, s, n);
    rep->append(s, n);
    return *this;
}

unsigned String::size() const noexcept {
    return rep ? rep->length : 0;
}

String::operator const char*() const noexcept {
    return text() ? rep->buffer : "";
}

const char* String::textAt(unsigned i) const noexcept {
    return text() ? rep->buffer + i : nullptr;
}

char String::operator[](unsigned i) const noexcept {
    return i < size() ? rep->buffer[i] : '\0';
}

SubString String::operator()(unsigned index, unsigned count) const {
    return SubString(*this, index, count);
}

bool String::isEmpty() const noexcept {
    const unsigned n = size();
    for (unsigned i = 0; i < n; ++i)
        if (rep->buffer[i] != ' ') return false;
    return true;
}

double String::asDouble() const noexcept {
    return std::atof(*this);
}

int String::compare(const String& other) const noexcept {
    if (!text()) return other.text() ? -1 : 0;
    return other.text() ? std::strcmp(*this, other) : 1;
}

bool String::operator==(const String& other) const noexcept {
    if (rep == other.rep) return true;
    if (isEmpty()) return other.isEmpty();
    return !other.isEmpty() && std::strcmp(*this, other) == 0;
}

bool String::operator==(const char* s) const noexcept {
    return s ? std::strcmp(*this, s) == 0 : isEmpty();
}

bool String::operator<(const String& other) const noexcept {
    return (*this <=> other.textAt(0)) < 0;
}

bool String::operator<=(const String& other) const noexcept {
    return text() == other.text() || (*this <=> other.textAt(0)) <= 0;
}

std::partial_ordering String::operator<=>(const char* s) const noexcept {
    if (!text() || !s) return std::partial_ordering::unordered;
    return std::strcmp(*this, s) <=> 0;
}

bool String::compareCaseInsensitive(const char* s) const noexcept {
    return text() && s && *s && strcasecmp(*this, s) == 0;
}

bool String::startsWith(const char* prefix, bool caseSensitive) const noexcept {
    if (!prefix) return false;
    const auto compare = caseSensitive ? std::strncmp : strncasecmp;
    return compare(*this, prefix, std::strlen(prefix)) == 0;
}

bool String::endsWith(const char* suffix, bool caseSensitive) const noexcept {
    if (!suffix) return false;
    const std::size_t n = std::strlen(suffix);
    if (size() < n) return false;
    const auto compare = caseSensitive ? std::strcmp : strcasecmp;
    return n == 0 || compare(rep->buffer + (size() - n), suffix) == 0;
}

unsigned String::index(const char* needle, unsigned from) const noexcept {
    return rep ? rep->index(needle, from) : kNotFound;
}

unsigned String::rindex(char c) const noexcept {
    return text() ? positionOf(std::strrchr(rep->buffer, c), *rep) : kNotFound;
}

unsigned String::nthIndex(unsigned n, char c) const noexcept {
    if (!text()) return kNotFound;
    if (n == 0) return 0;
    if (c == 0) return kNotFound;
    const char* found = std::strchr(rep->buffer, c);
    while (found && --n > 0) found = std::strchr(found + 1, c);
    return positionOf(found, *rep);
}

bool String::tokSpan(char delim, unsigned n, unsigned& start, unsigned& end) const noexcept {
    if (!text()) return false;
    start = nthIndex(n, delim);
    end = nthIndex(n + 1, delim);
    if (start == kNotFound) return false;
    if (end == kNotFound) end = size();
    if (start < end && rep->buffer[start] == delim) ++start;
    return true;
}

String String::substitute(const char* from, const char* to) const {
    if (index(from, 0) == kNotFound) return *this;
    String result(static_cast<const char*>(*this));
    result.rep->substitute(from, to);
    return result;
}

unsigned String::split(char delim, Vector<String>& out, unsigned flags) const {
    const String whole(*this);
    const char* const buffer = whole;
    return Vorn::SplitPrivate::appendFields(
        whole, buffer, size(), delim, flags, true, out, [=](std::size_t start, std::size_t n) {
            return String(StringRep::copyOf(buffer + start, static_cast<unsigned>(n)));
        });
}

String& String::operator+=(const String& other) {
    if (!other.text()) return *this;
    return rep ? append(other, other.size()) : *this = other;
}

String& String::operator+=(const char* s) {
    return s ? append(s, lengthOf(s)) : *this;
}

String& String::operator+=(char c) {
    return append(&c, 1);
}

String& String::operator+=(int v) {
    return appendNumber<16>(*this, "%d", v);
}

String& String::operator+=(unsigned v) {
    return appendNumber<16>(*this, "%u", v);
}

String& String::operator+=(double v) {
    return appendNumber<512>(*this, "%f", v);
}

String& String::replace(const char* src, unsigned n, unsigned srcOffset, unsigned at) {
    return edit([=](StringRep& r) { r.replace(src, n, srcOffset, at); });
}

String& String::replaceAll(const char* src, unsigned n) {
    return edit([=](StringRep& r) {
        r.replace(src, n, 0, 0);
        r.remove(src ? n : 0, r.length);
    });
}

String& String::insert(const char* src, unsigned n, unsigned srcOffset, unsigned at) {
    return edit([=](StringRep& r) { r.insert(src, n, srcOffset, at); });
}

String& String::remove(unsigned pos, unsigned n) {
    return edit([=](StringRep& r) { r.remove(pos, n); });
}

// Where a shared text ends early, at a zero byte, the writes behind that pad what they make.
String& String::substitute(char from, char to) {
    String result(rep && isShared(*rep) ? *this : String());
    String& changed = result.rep ? result : *this;
    const unsigned n = size();
    for (unsigned i = 0; i < n; ++i)
        if (std::as_const(changed)[i] == from) changed[i] = to;
    if (result.rep) *this = result;
    return *this;
}

String& String::toUpper() {
    if (!text()) return *this;
    return edit([](StringRep& r) { r.toUpper(); });
}

String& String::toLower() {
    if (!text()) return *this;
    return edit([](StringRep& r) { r.toLower(); });
}

String& String::rotateLeft(unsigned n) {
    if (!text()) return *this;
    return edit([=](StringRep& r) { r.rotateLeft(n); });
}

String& String::stripLeadingSpaces() {
    if (isEmpty()) return *this;
    unsigned n = 0;
    while (rep->buffer[n] == ' ') ++n;
    return n > 0 ? remove(0, n) : *this;
}

String& String::stripTrailingSpaces() {
    if (isEmpty()) return *this;
    unsigned end = size();
    while (rep->buffer[end - 1] == ' ') --end;
    return end < size() ? remove(end, size() - end) : *this;
}

int String::readFrom(std::istream& in) {
    for (int c = in.get(); c != std::istream::traits_type::eof(); c = in.get()) {
        if (const int space = std::isspace(c)) return space;
        *this += static_cast<char>(c);
    }
    return -1;
}

StringChar::operator char() const {
    return std::as_const(*string)[index];
}

StringChar& StringChar::operator=(char c) {
    string->replace(&c, 1, 0, index);
    return *this;
}

// NOLINTNEXTLINE(bugprone-unhandled-self-assignment): copies one byte, never the proxy.
StringChar& StringChar::operator=(const StringChar& other) {
    return *this = static_cast<char>(other);
}

String operator+(const String& a, const String& b) {
    if (a.rep && b.text()) return String::joined(a, b, b.size());
    return String(a) += b;
}

String operator+(const String& a, const char* b) {
    if (a.rep && b) return String::joined(a, b, lengthOf(b));
    return String(a) += b;
}

String operator+(const char* a, const String& b) {
    if (a && b.text()) return String::joined(a, b, b.size());
    return String(a) += b;
}
