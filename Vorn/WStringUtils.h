// Text and containers: functions on wide text.
//
// All functions are reentrant. Tests compare exactly when `caseSensitive` is true and ignore case
// otherwise; case mapping is libc's under the current locale. Null text arguments read as empty
// text. Nothing fails but for `std::bad_alloc`, and an argument that a function changes in place
// then keeps its value.
#pragma once

#include <filesystem>
#include <string_view>

#include "Vorn/SplitFlags.h"
#include "Vorn/Vector.h"
#include "Vorn/WString.h"
#include "platform/Export.h"

namespace Vorn {

/// The platform's conversions; text that cannot be converted is replaced as it decides.
VORN_EXPORT UTF8String UTF8FromWString(const WString& text);
VORN_EXPORT WString WStringFromUTF8(const char* utf8);
VORN_EXPORT WString WStringFromAscii(const char* ascii);

/// That of UTF-8 text which need not end in a zero byte, up to its first one.
inline WString WStringFromView(std::string_view utf8) {
    return WStringFromUTF8(UTF8String(utf8).c_str());
}
/// Paths of the file system, whose bytes are UTF-8.
inline WString WStringFromPath(const std::filesystem::path& path) {
    return WStringFromUTF8(path.c_str());
}
inline std::filesystem::path pathFromWString(const WString& text) {
    const UTF8String utf8 = UTF8FromWString(text);
    return std::filesystem::path(utf8.begin(), utf8.end());
}

/// The number at the start of `text`, after white space; what follows it is ignored.
/// `defaultValue` where there is none.
VORN_EXPORT int IntFromWString(const WString& text, int defaultValue);
VORN_EXPORT double FloatFromWString(const WString& text, double defaultValue);

VORN_EXPORT WString WStringFromInteger(int v);
/// Fixed-point text with `decimals` digits after the point, at least 0 and at most 9; `stripZeros`
/// removes the zeros at their end. A point that would come last is removed.
VORN_EXPORT WString WStringFromFloat(double v, char decimals, bool stripZeros);

/// Whether `text` begins with `prefix`. An empty text never does.
VORN_EXPORT bool startsWith(const WString& text, const wchar_t* prefix, bool caseSensitive);
VORN_EXPORT bool startsWith(const WString& text, const WString& prefix, bool caseSensitive);
/// Whether `text` ends with `suffix`. An empty text never does.
VORN_EXPORT bool endsWith(const WString& text, const wchar_t* suffix, bool caseSensitive);
VORN_EXPORT bool endsWith(const WString& text, const WString& suffix, bool caseSensitive);
VORN_EXPORT bool endsWith(const WString& text, wchar_t c, bool caseSensitive);
/// Whether the two are equal but for case. An equality, not an order.
VORN_EXPORT bool compareCaseInsensitive(const WString& a, const WString& b);

/// Map `text` in place and return it.
VORN_EXPORT WString& toUpper(WString& text);
VORN_EXPORT WString& toLower(WString& text);
/// Return a mapped copy.
VORN_EXPORT WString toUpper(const WString& text);
VORN_EXPORT WString toLower(const WString& text);

/// Remove the run of `c` at one end of `text` and return it. A text made only of `c` stays.
VORN_EXPORT WString& stripLeadingChars(WString& text, wchar_t c);
VORN_EXPORT WString& stripTrailingChars(WString& text, wchar_t c);

/// A copy with every occurrence of `from` replaced by `to`; inserted text is not searched again. An
/// empty `from` stands before every character and at the end.
VORN_EXPORT WString substitute(const WString& text, const WString& from, const WString& to);
/// The same without regard to case, searching backwards: of matches that overlap, the last one
/// wins.
VORN_EXPORT WString substituteCaseInsensitive(const WString& text, const WString& from,
                                              const WString& to);
/// A copy with every `from` replaced by `to`.
VORN_EXPORT WString substitute(const WString& text, wchar_t from, wchar_t to);

/// Appends the fields of `text` between delimiters to `out`, through its virtual `add`; returns the
/// number of elements of `out`. A delimiter at the end opens no field; an empty text is one empty
/// field. `flags` are those of SplitFlags.h; quotes stay in the fields. `out` is as before when
/// memory runs out.
VORN_EXPORT unsigned split(const WString& text, wchar_t delim, Vector<WString>& out,
                           unsigned flags);
/// The elements in order, with one separator between neighbours. Nothing is quoted.
VORN_EXPORT WString pack(const Vector<WString>& parts, wchar_t separator);
/// The last name of a path; empty when it is made only of separators.
VORN_EXPORT WString splitFilename(const WString& path);

}  // namespace Vorn
