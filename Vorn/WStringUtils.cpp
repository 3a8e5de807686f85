#include "Vorn/WStringUtils.h"

#include <algorithm>
#include <cstdio>
#include <cwchar>
#include <cwctype>

#include "Vorn/SplitPrivate.h"
#include "platform/OS.h"
#include "platform/iFileServices.h"
#include "platform/iTextServices.h"

namespace Vorn {
namespace {

const wchar_t* orEmpty(const wchar_t* text) {
    return text ? text : L"";
}

wchar_t upper(wchar_t c) {
    return static_cast<wchar_t>(std::towupper(static_cast<std::wint_t>(c)));
}

wchar_t lower(wchar_t c) {
    return static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(c)));
}

bool equal(const wchar_t* a, const wchar_t* b, std::size_t n, bool caseSensitive) {
    return (caseSensitive ? std::wcsncmp(a, b, n) : wcsncasecmp(a, b, n)) == 0;
}

// A copy of `text` in which `to` stands in place of the `size` characters at each position.
WString replaceAt(const WString& text, const Vector<unsigned long>& positions, std::size_t size,
                  const WString& to) {
    WString result;
    std::size_t kept = 0;
    for (const std::size_t position : positions) {
        result.append(text, kept, position - kept).append(to);
        kept = position + size;
    }
    return result.append(text, kept);
}

}  // namespace

UTF8String UTF8FromWString(const WString& text) {
    return OS()->textServices()->utf8FromWide(text);
}

WString WStringFromUTF8(const char* utf8) {
    return OS()->textServices()->wideFromUtf8(utf8 ? utf8 : "");
}

WString WStringFromAscii(const char* ascii) {
    return OS()->textServices()->wideFromAscii(ascii ? ascii : "");
}

int IntFromWString(const WString& text, int defaultValue) {
    int value = defaultValue;
    std::swscanf(text.c_str(), L"%d", &value);
    return value;
}

double FloatFromWString(const WString& text, double defaultValue) {
    double value = defaultValue;
    std::swscanf(text.c_str(), L"%lf", &value);
    return value;
}

WString WStringFromInteger(int v) {
    wchar_t digits[1024];
    std::swprintf(digits, std::size(digits), L"%d", v);
    return digits;
}

WString WStringFromFloat(double v, char decimals, bool stripZeros) {
    char digits[256];
    std::snprintf(digits, sizeof digits, "%.*lf", std::clamp<int>(decimals, 0, 9), v);
    WString text = WStringFromAscii(digits);
    if (stripZeros && text.find(L'.') != WString::npos) stripTrailingChars(text, L'0');
    if (text.ends_with(L'.')) text.pop_back();
    return text;
}

bool startsWith(const WString& text, const wchar_t* prefix, bool caseSensitive) {
    prefix = orEmpty(prefix);
    const std::size_t n = std::wcslen(prefix);
    return !text.empty() && n <= text.size() && equal(text.c_str(), prefix, n, caseSensitive);
}

bool startsWith(const WString& text, const WString& prefix, bool caseSensitive) {
    return startsWith(text, prefix.c_str(), caseSensitive);
}

bool endsWith(const WString& text, const wchar_t* suffix, bool caseSensitive) {
    suffix = orEmpty(suffix);
    const std::size_t n = std::wcslen(suffix);
    return !text.empty() && n <= text.size() &&
           equal(text.c_str() + (text.size() - n), suffix, n, caseSensitive);
}

bool endsWith(const WString& text, const WString& suffix, bool caseSensitive) {
    return endsWith(text, suffix.c_str(), caseSensitive);
}

bool endsWith(const WString& text, wchar_t c, bool caseSensitive) {
    if (text.empty()) return false;
    return caseSensitive ? text.back() == c : upper(text.back()) == upper(c);
}

bool compareCaseInsensitive(const WString& a, const WString& b) {
    return wcscasecmp(a.c_str(), b.c_str()) == 0;
}

WString& toUpper(WString& text) {
    std::transform(text.begin(), text.end(), text.begin(), upper);
    return text;
}

WString& toLower(WString& text) {
    std::transform(text.begin(), text.end(), text.begin(), lower);
    return text;
}

WString toUpper(const WString& text) {
    WString mapped(text);
    return toUpper(mapped);
}

WString toLower(const WString& text) {
    WString mapped(text);
    return toLower(mapped);
}

WString& stripLeadingChars(WString& text, wchar_t c) {
    const std::size_t kept = text.find_first_not_of(c);
    if (kept != WString::npos) text.erase(0, kept);
    return text;
}

WString& stripTrailingChars(WString& text, wchar_t c) {
    const std::size_t last = text.find_last_not_of(c);
    if (last != WString::npos) text.erase(last + 1);
    return text;
}

WString substitute(const WString& text, const WString& from, const WString& to) {
    const std::size_t step = std::max<std::size_t>(from.size(), 1);
    Vector<unsigned long> matches;
    for (std::size_t match = text.find(from); match != WString::npos;
         match = text.find(from, match + step))
        matches.add(match);
    return replaceAt(text, matches, from.size(), to);
}

WString substituteCaseInsensitive(const WString& text, const WString& from, const WString& to) {
    const WString searched = toLower(text);
    const WString needle = toLower(from);
    const std::size_t step = std::max<std::size_t>(from.size(), 1);
    Vector<unsigned long> matches;
    for (std::size_t match = searched.rfind(needle); match != WString::npos;
         match = match < step ? WString::npos : searched.rfind(needle, match - step))
        matches.add(match);
    std::reverse(matches.begin(), matches.end());
    return replaceAt(text, matches, from.size(), to);
}

WString substitute(const WString& text, wchar_t from, wchar_t to) {
    WString result(text);
    std::replace(result.begin(), result.end(), from, to);
    return result;
}

unsigned split(const WString& text, wchar_t delim, Vector<WString>& out, unsigned flags) {
    const WString whole(text);
    return SplitPrivate::appendFields(
        whole, whole.c_str(), whole.size(), delim, flags, false, out,
        [&](std::size_t start, std::size_t n) { return WString(whole, start, n); });
}

WString pack(const Vector<WString>& parts, wchar_t separator) {
    WString packed;
    for (const WString& part : parts) {
        if (&part != parts.begin()) packed += separator;
        packed += part;
    }
    return packed;
}

WString splitFilename(const WString& path) {
    Vector<WString> names;
    const unsigned count =
        split(path, OS()->fileServices()->pathSeparator(), names, SplitNoEmpties);
    return count > 0 ? names[count - 1] : WString();
}

}  // namespace Vorn
