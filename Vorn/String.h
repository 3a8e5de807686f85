// Text and containers: the 8-bit string.
#pragma once

#include <algorithm>
#include <compare>
#include <concepts>
#include <cstddef>
#include <functional>
#include <iosfwd>
#include <string_view>
#include <type_traits>
#include <utility>

#include "Vorn/SplitFlags.h"
#include "platform/Export.h"

class String;
class StringRep;
class SubString;
template <class T>
class Vector;

namespace Vorn::StringPrivate {

template <class Text>
concept ViewOnly = std::convertible_to<const Text&, std::string_view> &&
    (!std::convertible_to<const Text&, const char*>);

}  // namespace Vorn::StringPrivate

/// A reference to one byte of a `String`: what `string[i]` returns if the string is not const.
/// Copies refer to the same byte. The string must outlive it.
class VORN_EXPORT StringChar {
public:
    StringChar(String* addressed, unsigned position) noexcept
        : string(addressed), index(position) {}
    StringChar(const StringChar&) noexcept = default;

    /// The byte; 0 past the end.
    operator char() const;
    /// Writes the byte. If it is at or past the end, first pads the string with spaces up to it.
    StringChar& operator=(char c);
    /// Writes the byte that `other` refers to.
    StringChar& operator=(const StringChar& other);

    String* string;
    unsigned index;
};

/// Zero-terminated 8-bit text. Copying allocates nothing: copies share one representation, which
/// holds the text, until one of them is modified. A new empty string has no representation.
///
/// Positions and counts are in bytes, as 32-bit numbers; a search that finds nothing returns
/// 0xFFFFFFFF. Null text arguments read as empty text unless stated otherwise. Text may contain
/// zero bytes, but searching and comparing stop at the first one, and so does the copy made before
/// a shared text is modified. Text arguments may point into the string that is changed. Positions
/// past the end are not errors: reading gives 0, "" or not found, removing clips, writing pads with
/// spaces. The only failure is `std::bad_alloc`, also for texts of 2^31 bytes and more; the string
/// then keeps its text.
///
/// Strings that share a text may be used on different threads; a single `String` belongs to one
/// thread at a time.
class VORN_EXPORT String {
public:
    String() noexcept = default;
    String(std::nullptr_t) noexcept {}
    /// A copy of `s`. Only null gives a string without a representation.
    String(const char* s);
    /// A copy of the `n` bytes at `s`; for 0, a string without a representation.
    String(const char* s, unsigned n);
    /// A copy of anything that converts to a view but not to a `const char*`, like `std::string`.
    template <Vorn::StringPrivate::ViewOnly Text>
    explicit String(const Text& text) : String(copyOf(text)) {}
    String(char c);
    /// `count` times `c`.
    String(char c, unsigned count);
    String(const String& other) noexcept;
    String(String&& other) noexcept : rep(std::exchange(other.rep, nullptr)) {}
    /// The first `n` bytes of `s`, or all if it has fewer.
    String(const String& s, unsigned n);
    /// A copy of the bytes in view.
    String(const SubString& sub);
    /// The decimal digits.
    String(int v);
    String(unsigned v);
    /// "%f": fixed notation with six digits after the point, under the current locale.
    String(double v);
    /// The UTF-8 encoding of `w`. Throws `std::logic_error` for null.
    String(const wchar_t* w);
    ~String() {
        if (rep) release();
    }

    String& operator=(const String& other) noexcept;
    String& operator=(String&& other) noexcept {
        String taken(std::move(other));
        std::swap(rep, taken.rep);
        return *this;
    }
    template <Vorn::StringPrivate::ViewOnly Text>
    String& operator=(const Text& text) {
        return *this = String(text);
    }
    String& operator=(char c);
    /// Deleted: a number would be taken for a character code. Write `String(number)` for its
    /// digits.
    String& operator=(int) = delete;
    template <class Number>
    String& operator=(Number) requires std::is_arithmetic_v<Number>
    = delete;

    unsigned size() const noexcept;
    /// Whether `size()` is 0. See also `isEmpty`.
    bool empty() const noexcept { return size() == 0; }
    /// All bytes. The view and the pointers are valid until the string is changed or destroyed.
    std::string_view view() const noexcept { return {static_cast<const char*>(*this), size()}; }
    const char* begin() const noexcept { return *this; }
    const char* end() const noexcept { return begin() + size(); }
    /// The text, never null. The address is valid until the string is changed or destroyed.
    operator const char*() const noexcept;
    /// The address of byte `i` ≤ `size()`, unchecked; null without a representation.
    const char* textAt(unsigned i) const noexcept;
    char operator[](unsigned i) const noexcept;
    StringChar operator[](unsigned i) noexcept { return {this, i}; }
    /// A view of `count` bytes from `index`, clipped.
    SubString operator()(unsigned index, unsigned count) const;
    /// Whether there is nothing but spaces (0x20).
    bool isEmpty() const noexcept;
    /// The number at the start, as `atof` reads it.
    double asDouble() const noexcept;

    /// Below, equal to or above 0, like `strcmp`; a string without a representation sorts first.
    int compare(const String& other) const noexcept;
    /// Equal bytes up to the first zero byte; two blank strings are equal, whatever their lengths.
    bool operator==(const String& other) const noexcept;
    /// Equal bytes up to the first zero byte; null equals a blank string.
    bool operator==(const char* s) const noexcept;
    /// The order of `strcmp`. A string without a representation, or null, is neither less nor
    /// greater than anything, but two strings without one are `<=` and `>=` each other.
    bool operator<(const String& other) const noexcept;
    bool operator<=(const String& other) const noexcept;
    bool operator>(const String& other) const noexcept { return other < *this; }
    bool operator>=(const String& other) const noexcept { return other <= *this; }
    std::partial_ordering operator<=>(const char* s) const noexcept;
    /// Deleted, so that pairs, tuples and vectors compare by `<`. With it they would take a string
    /// without a representation for equal to any other.
    std::partial_ordering operator<=>(const String& other) const = delete;
    /// Whether the texts are equal if case is ignored, under the current locale. False for null
    /// and "".
    bool compareCaseInsensitive(const char* s) const noexcept;
    /// False for null.
    bool startsWith(const char* prefix, bool caseSensitive) const noexcept;
    bool endsWith(const char* suffix, bool caseSensitive) const noexcept;

    /// The position of the first `needle` at or after `from`.
    unsigned index(const char* needle, unsigned from) const noexcept;
    /// The position of the last `c`; a `c` of 0 means the terminator.
    unsigned rindex(char c) const noexcept;
    /// The position of the n-th `c`, counted from 1; 0 for `n` = 0.
    unsigned nthIndex(unsigned n, char c) const noexcept;
    /// The span [start, end) of the n-th field between delimiters, counted from 0. Returns false if
    /// there is none; the outputs are then of no use, but stored all the same unless the string has
    /// no representation.
    bool tokSpan(char delim, unsigned n, unsigned& start, unsigned& end) const noexcept;
    /// A copy with every occurrence of `from` replaced by `to`; if there is none, the copy shares
    /// the text. An empty `from` occurs before every character.
    String substitute(const char* from, const char* to) const;
    /// Appends the fields between delimiters to `out`, through its virtual `add`; returns the
    /// number of elements of `out`. A delimiter at the end does not start another field; an empty
    /// text is one empty field. `flags` are those of SplitFlags.h; a double quote after a backslash
    /// does not count, and both stay in the fields. When memory runs out, `out` is unchanged.
    /// "a;b;;c;" has the fields "a", "b", "" and "c".
    unsigned split(char delim, Vector<String>& out, unsigned flags) const;

    /// Append text, or a number in the form that the constructors give it.
    String& operator+=(const String& other);
    String& operator+=(const char* s);
    template <Vorn::StringPrivate::ViewOnly Text>
    String& operator+=(const Text& text) {
        return *this += String(text);
    }
    String& operator+=(char c);
    String& operator+=(int v);
    String& operator+=(unsigned v);
    String& operator+=(double v);
    /// Overwrites `n` bytes at `at` with those at `src + srcOffset`, extending the text as needed.
    String& replace(const char* src, unsigned n, unsigned srcOffset, unsigned at);
    /// Replaces the whole text by the `n` bytes at `src`.
    String& replaceAll(const char* src, unsigned n);
    /// Inserts the `n` bytes at `src + srcOffset` before `at`.
    String& insert(const char* src, unsigned n, unsigned srcOffset, unsigned at);
    String& remove(unsigned pos, unsigned n);
    String& substitute(char from, char to);
    /// Map every byte through libc under the current locale.
    String& toUpper();
    String& toLower();
    /// Moves the first `n` mod `size()` bytes to the end.
    String& rotateLeft(unsigned n);
    /// Remove the run of spaces (0x20) at one end; a blank string stays as it is.
    String& stripLeadingSpaces();
    String& stripTrailingSpaces();
    /// Appends characters up to white space, which is consumed, or the end of input. Returns −1 at
    /// the end of input, and otherwise a value that is not 0. What was read before a failure
    /// stays appended.
    int readFrom(std::istream& in);

private:
    const StringRep* text() const noexcept;
    void release() noexcept;
    StringRep* rep = nullptr;

    explicit String(StringRep* fresh) noexcept;
    static String copyOf(std::string_view text) {
        constexpr std::size_t kMost = 0xFFFFFFFF;
        return {text.data(), static_cast<unsigned>(std::min(text.size(), kMost))};
    }
    static String joined(const char* a, const char* b, unsigned n);
    template <class Edit>
    String& edit(Edit change);
    inline String& append(const char* s, unsigned n);
    String& grow(const char* s, unsigned n);
    friend class StringChar;
    friend String operator+(const String& a, const String& b);
    friend String operator+(const String& a, const char* b);
    friend String operator+(const char* a, const String& b);
};

VORN_EXPORT String operator+(const String& a, const String& b);
VORN_EXPORT String operator+(const String& a, const char* b);
VORN_EXPORT String operator+(const char* a, const String& b);

namespace std {

/// The same for all strings that `==` calls equal.
template <>
struct hash<String> {
    std::size_t operator()(const String& s) const noexcept {
        const std::string_view text = s.isEmpty() ? "" : static_cast<const char*>(s);
        return std::hash<std::string_view>()(text);
    }
};

/// The order of `compare`, which tells all different texts apart. Maps and sets use it.
template <>
struct less<String> {
    bool operator()(const String& a, const String& b) const noexcept { return a.compare(b) < 0; }
};

}  // namespace std
