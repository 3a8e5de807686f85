#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "Vorn/String.h"
#include "Vorn/WStringUtils.h"
#include "tests/support/TestPlatform.h"

namespace {

using namespace Vorn;

struct MarkedText : test::ForwardingText {
    WString wideFromAscii(const char* text) override { return L"A" + next->wideFromAscii(text); }
    WString wideFromUtf8(const char* text) override { return L"U" + next->wideFromUtf8(text); }
    UTF8String utf8FromWide(const WString& text) override { return "W" + next->utf8FromWide(text); }
};

struct ColonFiles : test::ForwardingFiles {
    wchar_t pathSeparator() override { return L':'; }
};

TEST(WString, ConversionsAndSeparatorsAreThePlatforms) {
    MarkedText text;
    ColonFiles files;
    const test::Override<iTextServices> texts(&text);
    const test::Override<iFileServices> separators(&files);
    EXPECT_EQ(UTF8FromWString(L"\xE9") + static_cast<const char*>(String(L"a")), "W\xC3\xA9Wa");
    EXPECT_EQ(WStringFromUTF8("\xC3\xA9") + WStringFromUTF8(nullptr), L"U\xE9U");
    EXPECT_EQ(WStringFromAscii("a") + WStringFromAscii(nullptr) + WStringFromFloat(1.5, 1, false),
              L"AaAA1.5");
    const wchar_t* const paths[] = {L":x/y:a.mov", L"a.mov", L"a",  L"a", L":a", L"a",
                                    L":a:b::",     L"b",     L"::", L"",  L"",   L""};
    for (int i = 0; i < 12; i += 2) EXPECT_EQ(splitFilename(paths[i]), paths[i + 1]);
}

TEST(WString, Numbers) {
    EXPECT_TRUE(IntFromWString(L" 42abc", 7) == 42 && IntFromWString(L"abc", 7) == 7);
    EXPECT_TRUE(FloatFromWString(L" 2.5e3x", 0) == 2500 && FloatFromWString(L".", 0.5) == 0.5);
    WString all = WStringFromInteger(-12);
    for (const auto& [v, decimals] :
         {std::pair(2.5, 3), {2.0, 3}, {0.0, 2}, {100.0, 0}, {-2.75, -1}, {12.5, 12}, {1.0, 10}})
        for (const bool strip : {false, true})
            all += L' ' + WStringFromFloat(v, static_cast<char>(decimals), strip);
    EXPECT_EQ(all, L"-12 2.500 2.5 2.000 2 0.00 0 100 100 -3 -3 12.500000000 12.5 1.000000000 1");
    EXPECT_EQ(WStringFromFloat(-1e300, 3, false).size(), 255u);
}

TEST(WString, Tests) {
    const WString s(L"abc\xE9");
    EXPECT_TRUE(startsWith(s, L"", true) && startsWith(s, L"AB", false) && startsWith(s, s, true));
    EXPECT_TRUE(endsWith(s, L"", true) && endsWith(s, L"C\xE9", false) && endsWith(s, s, true));
    EXPECT_FALSE(startsWith(L"", L"", true) || startsWith(s, L"AB", true) ||
                 startsWith(s, s + s, true));
    EXPECT_FALSE(endsWith(L"", L"", true) || endsWith(s, L"C\xE9", true) ||
                 endsWith(s, s + s, true));
    EXPECT_TRUE(endsWith(L"aT", L'T', true) && endsWith(L"at", L'T', false) &&
                compareCaseInsensitive(L"aB", L"Ab"));
    EXPECT_FALSE(endsWith(L"at", L'T', true) || endsWith(L"", L'T', false) ||
                 compareCaseInsensitive(L"a", L"ab"));
}

TEST(WString, Edits) {
    WString s(L"xaBx"), blank(L"xx");
    EXPECT_EQ(toUpper(std::as_const(s)) + toLower(std::as_const(s)) + s, L"XABXxabxxaBx");
    EXPECT_TRUE(toUpper(s) == L"XABX" && toLower(s) == L"xabx" && s == L"xabx");
    EXPECT_TRUE(stripLeadingChars(s, L'x') == L"abx" && stripTrailingChars(s, L'x') == L"ab");
    EXPECT_EQ(stripLeadingChars(stripTrailingChars(blank, L'x'), L'x'), L"xx");
    const wchar_t* const rows[] = {L"a.b.c", L".",  L"::", L"a::b::c", L"aa",    L"a",  L"aa",
                                   L"aaaa",  L"ab", L"",   L"-",       L"-a-b-", L"ab", L"",
                                   L"",      L"ab", L"",   L"x",       L"y",     L""};
    for (const auto* row = rows; row != std::end(rows); row += 4) {
        EXPECT_EQ(substitute(row[0], row[1], row[2]), row[3]);
        EXPECT_EQ(substituteCaseInsensitive(row[0], row[1], row[2]), row[3]);
    }
    EXPECT_EQ(substitute(L"Aaaa", WString(L"aa"), L"x") + substitute(s, L'a', L'/'), L"Axa/b");
    EXPECT_EQ(substituteCaseInsensitive(L"AaAbaA", L"aA", L"xyz"), L"Axyzbxyz");
    EXPECT_EQ(pack(Vector<WString>(), L','), L"");
}

// The fields, each with a line end.
std::string fieldsOf(const std::string& text, char delim, unsigned flags, bool escapes) {
    std::string all = text;
    bool quoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == delim && !(quoted && (flags & SplitQuoted) && delim != '"')) all[i] = '\n';
        if (text[i] == '"' && !(escapes && i > 0 && text[i - 1] == '\\')) quoted = !quoted;
    }
    if (!all.ends_with('\n')) all += '\n';
    if (text.empty() || !(flags & SplitNoEmpties)) return all;
    const auto bothEnd = [](char a, char b) { return a == '\n' && b == '\n'; };
    all.erase(std::unique(all.begin(), all.end(), bothEnd), all.end());
    return all.substr(all[0] == '\n');
}

TEST(Split, BothWidthsFollowTheModel) {
    std::vector<std::string> texts{""};
    for (std::size_t i = 0; texts[i].size() < 6; ++i)
        for (const char c : {'a', ',', '"', '\\'}) texts.push_back(texts[i] + c);
    for (unsigned i = 0; i < 12 * texts.size(); ++i) {
        const std::string& text = texts[i / 12];
        const unsigned flags = i % 4;
        const char delim = ",\"\\"[i / 4 % 3];
        Vector<String> fields;
        Vector<WString> wideFields;
        fields.add(text.c_str());
        wideFields.add(WString(text.begin(), text.end()));
        const unsigned count = fields[0].split(delim, fields, flags);
        const unsigned wideCount = split(wideFields[0], delim, wideFields, flags);
        ASSERT_TRUE(count == fields.size() && wideCount == wideFields.size());
        String all, wideAll(pack(wideFields, L'\n').c_str());
        for (const String& field : fields) all = all + field + "\n";
        ASSERT_EQ(std::string(all), text + '\n' + fieldsOf(text, delim, flags, true));
        ASSERT_EQ(std::string(wideAll + "\n"), text + '\n' + fieldsOf(text, delim, flags, false));
        ASSERT_TRUE(count != 2 || fields[1].size() < text.size() ||
                    fields[1].textAt(0) == fields[0].textAt(0));
    }
}

}  // namespace
