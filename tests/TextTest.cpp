#include <gtest/gtest.h>

#include <sstream>

#include "Vorn/Vorn.h"
#include "tests/support/TestPlatform.h"

namespace {

using namespace Vorn;

unsigned capacityOf(const String& text) {
    const StringRep* const rep = *reinterpret_cast<StringRep* const*>(&text);
    return rep ? rep->capacity : 0;
}

TEST(String, CapacitiesAreExactUntilATextGrows) {
    const String none, abc("abc"), four("abcd"), dots("a.b.c");
    const struct {
        const char* code;
        String text;
        unsigned capacity;
    } rows[] = {
        {"null", String(nullptr), 0},
        {"no bytes", String("a", 0), 0},
        {"copied from empty", String(String(""), 2), 0},
        {"view of none", String(none(0, 2)), 0},
        {"empty", "", 1},
        {"no characters", String('x', 0), 1},
        {"nothing of a text", String(abc, 0), 1},
        {"view past the end", String(abc(3, 1)), 1},
        {"character", 'x', 2},
        {"characters", String('x', 8), 16},
        {"text", abc, 4},
        {"start of a text", String(abc, 2), 3},
        {"view", String(abc(1, 9)), 3},
        {"number", 1.5, 9},
        {"wide", L"\xE9", 3},
        {"appended", String(four) += 'e', 8},
        {"joined", four + "", 8},
        {"inserted", String(four).insert(nullptr, 2, 1, 6), 8},
        {"replaced past the end", String(four).replace("", 0, 0, 4), 8},
        {"replaced as a whole", String(four).replaceAll(nullptr, 2), 5},
        {"removed", String("abcd").remove(1, 2), 5},
        {"appended after that", String("abcd").remove(1, 2) += 'e', 4},
        {"longer parts", dots.substitute(".", "::"), 8},
        {"shorter parts", dots.substitute("a.", ""), 6},
    };
    for (const auto& row : rows) EXPECT_EQ(capacityOf(row.text), row.capacity) << row.code;
}

// Up to the limit the platform is asked for memory, past it is not.
TEST(Text, LengthsStayBelow2GiB) {
    test::MemoryLedger ledger;
    String text("a");
    ledger.failIn = 1;
    EXPECT_THROW(text.insert("x", 1, 0, 0x7FFFFFFF), std::bad_alloc);
    EXPECT_THROW(text.insert("x", 0xFFFFFFFF, 0, 0), std::bad_alloc);
    EXPECT_THROW(text.replace("x", 0xFFFFFFFF, 0, 1), std::bad_alloc);
    EXPECT_THROW(Vector<int>().resizeFor((1u << 31) + 1), std::bad_alloc);
    EXPECT_EQ(ledger.refused, 0u);
    EXPECT_THROW(text.insert("x", 1, 0, 0x7FFFFFFE), std::bad_alloc);
    EXPECT_EQ(ledger.refused, 1u);
    EXPECT_STREQ(text, "a");
    EXPECT_EQ(capacityOf(text), 2u);
}

// The other holder of a text lets go of it while it is being copied.
struct LettingGo : test::Atomics {
    explicit LettingGo(StringRep& text) : shared(text) {}
    void increment(std::int32_t* counter) override {
        Atomics::increment(counter);
        decrement(&shared.refCount);
    }

    StringRep& shared;
};

TEST(StringRep, ATextThatBothHoldersLeaveIsReleased) {
    const test::MemoryLedger ledger;
    auto* const text = new StringRep("text", 4);
    text->refCount = 2;
    {
        LettingGo counters(*text);
        delete text->unshare();
    }
    EXPECT_EQ(ledger.blocks.size(), 0u);
}

TEST(String, ReadingKeepsWhatCameBeforeAFailure) {
    std::istringstream in("word");
    in.exceptions(std::ios::eofbit);
    String text("a ");
    EXPECT_THROW(text.readFrom(in), std::ios::failure);
    EXPECT_STREQ(text, "a word");
}

// A backslash before a double quote takes its meaning, in 8-bit text alone.
TEST(Text, QuotesKeepDelimitersInTheirField) {
    const struct {
        const char* text;
        unsigned fields, wideFields;
    } rows[] = {{R"(a,"b,c",d)", 3, 3}, {R"(\",b,c)", 3, 1}, {R"("a\",b",c)", 2, 2}};
    for (const auto& [text, fields, wideFields] : rows) {
        Vector<String> found;
        Vector<WString> wideFound;
        EXPECT_EQ(String(text).split(',', found, SplitQuoted), fields) << text;
        EXPECT_EQ(split(WStringFromAscii(text), L',', wideFound, SplitQuoted), wideFields) << text;
    }
}

TEST(WString, NullIsEmptyText) {
    const wchar_t* const null = nullptr;
    EXPECT_TRUE(startsWith(L"text", null, true));
    EXPECT_TRUE(endsWith(L"text", null, true));
    EXPECT_EQ(WStringFromAscii(nullptr), L"");
    EXPECT_EQ(WStringFromUTF8(nullptr), L"");
}

TEST(WString, ReadsTheNumberAtTheStart) {
    EXPECT_EQ(IntFromWString(L" 42abc", 7), 42);
    EXPECT_EQ(IntFromWString(L"abc", 7), 7);
    EXPECT_EQ(FloatFromWString(L" 2.5e3x", 0), 2500);
    EXPECT_EQ(FloatFromWString(L".", 0.5), 0.5);
}

TEST(WString, WritesNumbers) {
    EXPECT_EQ(WStringFromInteger(-12), L"-12");
    const struct {
        double number;
        char decimals;
        const wchar_t *whole, *stripped;
    } rows[] = {
        {2.5, 3, L"2.500", L"2.5"},      {2.0, 3, L"2.000", L"2"},
        {0.0, 2, L"0.00", L"0"},         {100.0, 0, L"100", L"100"},
        {-2.75, -1, L"-3", L"-3"},       {12.5, 12, L"12.500000000", L"12.5"},
        {1.0, 10, L"1.000000000", L"1"},
    };
    for (const auto& [number, decimals, whole, stripped] : rows) {
        EXPECT_EQ(WStringFromFloat(number, decimals, false), whole) << int{decimals};
        EXPECT_EQ(WStringFromFloat(number, decimals, true), stripped) << int{decimals};
    }
    EXPECT_EQ(WStringFromFloat(-1e300, 3, false).size(), 255u);
}

}  // namespace
