// Test support: what the functions on wide text give, told once more one character at a time.
#pragma once

#include <algorithm>
#include <charconv>

#include "Vorn/WStringUtils.h"
#include "tests/support/TextModels.h"

namespace test {

/// How many conversions of the numbers go wrong, with `tail` behind them.
inline int wrongNumbers(int n, double v, char decimals, const WString& tail) {
    const WString text = Vorn::WStringFromInteger(n), padded = L" \t" + text, word = L"x" + tail;
    int wrong = text != std::to_wstring(n).c_str();
    wrong += Vorn::IntFromWString(padded + word, 0) != n || Vorn::IntFromWString(word, n) != n;
    wrong += Vorn::FloatFromWString(padded + L"e2" + word, 0) != 100.0 * n;
    wrong += Vorn::FloatFromWString(word, v) != v;
    char digits[400], *const last = std::end(digits);
    const int places = std::clamp<int>(decimals, 0, 9);
    char* const end = std::to_chars(digits, last, v, std::chars_format::fixed, places).ptr;
    WString fixed(digits, std::min(end, digits + 255));
    for (const bool strip : {false, true}) {
        const bool whole = fixed.find(L'.') == WString::npos;
        while (strip && !whole && fixed.back() == L'0') fixed.pop_back();
        const WString shown(fixed, 0, fixed.size() - fixed.ends_with(L'.'));
        wrong += Vorn::WStringFromFloat(v, decimals, strip) != shown;
    }
    return wrong;
}

/// How many answers about `text` are wrong.
inline int wrongAnswers(const WString& text, const WString& part, const WString& to, wchar_t c,
                        unsigned flags) {
    using namespace Vorn;
    int wrong = 0;
    for (const bool cased : {false, true}) {
        const auto seen = [&](const WString& all) { return cased ? all : folded(all); };
        const WString t = seen(text), word = seen(part.c_str());
        wrong += startsWith(text, part, cased) != (!t.empty() && t.starts_with(word));
        wrong += endsWith(text, part, cased) != (!t.empty() && t.ends_with(word));
        wrong += endsWith(text, c, cased) != t.ends_with(seen(WString(1, c)));
        wrong += !cased && compareCaseInsensitive(text, part) != (t.c_str() == word);
    }
    WString upper = text, lower = text, front = text, back = text, result = text, packed = text;
    wrong += toUpper(text) != folded(text, 'a') || toUpper(upper) != folded(text, 'a');
    wrong += toLower(text) != folded(text) || toLower(lower) != folded(text);
    const bool stays = text == WString(text.size(), c);
    while (!stays && front.front() == c) front.erase(0, 1);
    while (!stays && back.back() == c) back.pop_back();
    wrong += stripLeadingChars(upper = text, c) != front;
    wrong += stripTrailingChars(upper = text, c) != back;
    wrong += substitute(text, c, L'!') != substituted<WString>(text, {c}, L"!", false);
    wrong += substitute(text, part, to) != substituted(text, part, to, true);
    for (std::size_t x = text.size() + 1, limit = text.size(); x-- > 0;)
        if (x + part.size() <= limit && folded(text.substr(x, part.size())) == folded(part))
            result.replace(limit = x, part.size(), to);
    wrong += substituteCaseInsensitive(text, part, to) != result;

    Vector<WString> fields;
    fields.add(text);
    const auto expected = fieldsOf(text, c, flags, false);
    for (const WString& field : expected) packed += c + field;
    wrong += split(text, c, fields, flags) != expected.size() + 1 || pack(fields, c) != packed;
    wrong += !std::equal(expected.begin(), expected.end(), fields.begin() + 1);
    const auto names = fieldsOf(text, L'/', SplitNoEmpties, false);
    return wrong + (splitFilename(text) != (names.empty() ? WString() : names.back()));
}

}  // namespace test
