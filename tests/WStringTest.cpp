#include <gtest/gtest.h>

#include <random>
#include <string>

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

TEST(WString, ConversionsAreThePlatforms) {
    MarkedText text;
    const test::Override<iTextServices> texts(&text);
    EXPECT_EQ(UTF8FromWString(L"\xE9") + static_cast<const char*>(String(L"a")), "W\xC3\xA9Wa");
    EXPECT_EQ(WStringFromUTF8("\xC3\xA9") + WStringFromUTF8(nullptr), L"U\xE9U");
    EXPECT_EQ(WStringFromAscii(nullptr) + WStringFromFloat(1.5, 1, false), L"AA1.5");
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

TEST(WString, TestsAndEdits) {
    EXPECT_TRUE(startsWith(L"abc", L"AB", false) && endsWith(L"abc", L"BC", false));
    EXPECT_FALSE(startsWith(L"abc", L"AB", true) || endsWith(L"abc", L"BC", true) ||
                 startsWith(L"", L"", true) || endsWith(L"", L"", true));
    WString s(L"xaBx"), blank(L"xx");
    EXPECT_EQ(stripTrailingChars(stripLeadingChars(s, L'x'), L'x'), L"aB");
    EXPECT_EQ(stripLeadingChars(stripTrailingChars(blank, L'x'), L'x'), L"xx");
    EXPECT_EQ(substitute(L"Aaaa", L"aa", L"x") + substitute(L"ab", L"", L"-"), L"Axa-a-b-");
    EXPECT_EQ(substituteCaseInsensitive(L"bAaAbaA", L"aA", L"xyz"), L"bAxyzbxyz");
    EXPECT_EQ(splitFilename(L"/x/y:a") + splitFilename(L"b//") + splitFilename(L"//"), L"y:ab");
}

// The fields, each with a line end.
std::string fieldsOf(const std::string& text, char delim, unsigned flags, bool escapes) {
    std::string all(text.empty(), '\n');
    bool quoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != delim || (quoted && (flags & SplitQuoted) && delim != '"'))
            all += text[i];
        else if (!(flags & SplitNoEmpties) || !(all.empty() || all.ends_with('\n')))
            all += '\n';
        if (text[i] == '"' && !(escapes && i > 0 && text[i - 1] == '\\')) quoted = !quoted;
    }
    return all.empty() || all.ends_with('\n') ? all : all + '\n';
}

TEST(Split, BothWidthsFollowTheModel) {
    std::mt19937 random(1);
    for (int step = 0; step < 20000; ++step) {
        std::string text(random() % 7, 'a');
        for (char& c : text) c = "a,\"\\"[random() % 4];
        const unsigned flags = random() % 4;
        const char delim = ",\"\\"[random() % 3];
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
    }
}

}  // namespace
