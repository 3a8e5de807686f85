// Text and containers: functions on wide text.
//
// All functions are reentrant. Comparisons are exact if `caseSensitive` is true and ignore case
// otherwise; case mapping is libc's under the current locale. Null text arguments read as empty
// text. The only failure is `std::bad_alloc`; an argument that is changed in place then keeps its
// value.
#pragma once

#include <filesystem>
#include <string_view>

#include "Vorn/SplitFlags.h"
#include "Vorn/Vector.h"
#include "Vorn/WString.h"
#include "platform/Export.h"

namespace Vorn {

/// The platform's conversions. The platform decides what replaces text that cannot be converted.
VORN_EXPORT UTF8String UTF8FromWString(const WString& text);
VORN_EXPORT WString WStringFromUTF8(const char* utf8);
VORN_EXPORT WString WStringFromAscii(const char* ascii);

/// The same for UTF-8 text that need not be zero-terminated; stops at the first zero byte.
inline WString WStringFromView(std::string_view utf8) {
    return WStringFromUTF8(UTF8String(utf8).c_str());
}
/// Convert file system paths, whose bytes are UTF-8.
inline WString WStringFromPath(const std::filesystem::path& path) {
    return WStringFromUTF8(path.c_str());
}
inline std::filesystem::path pathFromWString(const WString& text) {
    const UTF8String utf8 = UTF8FromWString(text);
    return std::filesystem::path(utf8.begin(), utf8.end());
}

/// The number at the start of `text`, after white space, or `defaultValue` if there is none.
/// Whatever follows the number is ignored.
VORN_EXPORT int IntFromWString(const WString& text, int defaultValue);
VORN_EXPORT double FloatFromWString(const WString& text, double defaultValue);

VORN_EXPORT WString WStringFromInteger(int v);
/// Fixed-point text with `decimals` digits after the point, at least 0 and at most 9. `stripZeros`
/// removes trailing zeros after the point. A point that would come last is removed.
VORN_EXPORT WString WStringFromFloat(double v, char decimals, bool stripZeros);

/// Whether `text` begins with `prefix`. An empty text never does.
VORN_EXPORT bool startsWith(const WString& text, const wchar_t* prefix, bool caseSensitive);
VORN_EXPORT bool startsWith(const WString& text, const WString& prefix, bool caseSensitive);
/// Whether `text` ends with `suffix`. An empty text never does.
VORN_EXPORT bool endsWith(const WString& text, const wchar_t* suffix, bool caseSensitive);
VORN_EXPORT bool endsWith(const WString& text, const WString& suffix, bool caseSensitive);
VORN_EXPORT bool endsWith(const WString& text, wchar_t c, bool caseSensitive);
/// Whether the two are equal if case is ignored. An equality, not an order.
VORN_EXPORT bool compareCaseInsensitive(const WString& a, const WString& b);

/// Convert `text` in place and return it.
VORN_EXPORT WString& toUpper(WString& text);
VORN_EXPORT WString& toLower(WString& text);
/// Return a converted copy.
VORN_EXPORT WString toUpper(const WString& text);
VORN_EXPORT WString toLower(const WString& text);

/// Remove the run of `c` at one end of `text` and return it. A text made only of `c` stays.
VORN_EXPORT WString& stripLeadingChars(WString& text, wchar_t c);
VORN_EXPORT WString& stripTrailingChars(WString& text, wchar_t c);

/// A copy with every occurrence of `from` replaced by `to`; inserted text is not searched again. An
/// empty `from` occurs before every character and at the end.
VORN_EXPORT WString substitute(const WString& text, const WString& from, const WString& to);
/// The same, ignoring case and searching backwards: if matches overlap, the last one wins.
VORN_EXPORT WString substituteCaseInsensitive(const WString& text, const WString& from,
                                              const WString& to);
/// A copy with every `from` replaced by `to`.
VORN_EXPORT WString substitute(const WString& text, wchar_t from, wchar_t to);

/// Appends the fields of `text` between delimiters to `out`, through its virtual `add`; returns the
/// number of elements of `out`. A delimiter at the end does not start another field; an empty text
/// is one empty field. `flags` are those of SplitFlags.h; quotes stay in the fields. When memory
/// runs out, `out` is unchanged.
VORN_EXPORT unsigned split(const WString& text, wchar_t delim, Vector<WString>& out,
                           unsigned flags);
/// The elements in order, joined by separators. Nothing is quoted.
VORN_EXPORT WString pack(const Vector<WString>& parts, wchar_t separator);
/// The last name of a path; empty if the path consists only of separators.
VORN_EXPORT WString splitFilename(const WString& path);

}  // namespace Vorn
