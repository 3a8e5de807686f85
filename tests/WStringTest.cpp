#include <gtest/gtest.h>

#include <string>

#include "Vorn/String.h"
#include "Vorn/WStringUtils.h"
#include "tests/support/TestPlatform.h"
#include "tests/support/WStringModel.h"

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

}  // namespace
