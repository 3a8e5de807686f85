#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <tuple>
#include <utility>
#include <vector>

#include "Vorn/Vorn.h"
#include "tests/support/TestPlatform.h"

namespace {

using namespace Vorn;

std::vector<unsigned> rooms(const std::same_as<String> auto&... s) {
    const auto room = [](const StringRep* rep) { return rep ? rep->capacity : 0; };
    return {room(*reinterpret_cast<StringRep* const*>(&s))...};
}

TEST(String, CapacitiesAreExactUntilATextGrows) {
    const String none, empty(""), abc("abc"), two("abcd"), dots("a.b.c");
    EXPECT_EQ(rooms(String(nullptr), String("a", 0), String(empty, 2), String(none(0, 2)), empty,
                    String('x', 0), String(abc, 0), String(abc(3, 1)), String('x'), String('x', 8),
                    abc, String(abc, 2), String(abc(1, 9)), String(1.5), String(L"\xE9")),
              (std::vector{0u, 0u, 0u, 0u, 1u, 1u, 1u, 1u, 2u, 16u, 4u, 3u, 3u, 9u, 3u}));
    EXPECT_EQ(rooms(String(two) += 'e', two + "", String(two).insert(nullptr, 2, 1, 6),
                    String(two).replace("", 0, 0, 4), String("abcd").remove(1, 2),
                    String("abcd").remove(1, 2) += 'e', String(two).replaceAll(nullptr, 2),
                    dots.substitute(".", "::"), dots.substitute("a.", "")),
              (std::vector{8u, 8u, 8u, 8u, 5u, 4u, 5u, 8u, 6u}));
}

// Up to the limit the platform is asked for memory, past it is not.
TEST(Text, LengthsStayBelow2GiB) {
    test::MemoryLedger ledger;
    String s("a");
    ledger.failAt(1);
    EXPECT_THROW(s.insert("x", 1, 0, 0x7FFFFFFF), std::bad_alloc);
    EXPECT_THROW(s.insert("x", 0xFFFFFFFF, 0, 0), std::bad_alloc);
    EXPECT_THROW(s.replace("x", 0xFFFFFFFF, 0, 1), std::bad_alloc);
    EXPECT_THROW(Vector<int>().resizeFor((1u << 31) + 1), std::bad_alloc);
    EXPECT_EQ(ledger.refusals(), 0u);
    EXPECT_THROW(s.insert("x", 1, 0, 0x7FFFFFFE), std::bad_alloc);
    EXPECT_TRUE(ledger.refusals() == 1 && s == "a" && rooms(s)[0] == 2);
}

// Strings without text are neither above nor below anything, so no key may be compared by `<=>`.
TEST(String, PairsAsKeysStayApart) {
    using Key = std::pair<String, String>;
    const std::map<Key, int> map{{{nullptr, "a"}, 1}, {{nullptr, "b"}, 2}, {{nullptr, "c"}, 3}};
    EXPECT_EQ(map.size(), 3u);
    EXPECT_EQ(map.at({nullptr, "b"}), 2);
    EXPECT_LT(std::tuple(1, String("a")), std::tuple(1, String("b")));
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
    EXPECT_EQ(ledger.live(), 0u);
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
        unsigned flags, fields, wideFields;
    } rows[] = {
        {R"(a,"b,c",d)", SplitQuoted, 3, 3}, {R"(a,"b,c",d)", 0, 4, 4},
        {R"(a\",b,c)", SplitQuoted, 3, 1},   {R"("a\",b",c)", SplitQuoted, 2, 2},
        {R"(,"a,b",,)", SplitQuoted, 3, 3},  {R"(,"a,b",,)", SplitQuoted | SplitNoEmpties, 1, 1},
    };
    for (const auto& [text, flags, fields, wideFields] : rows) {
        Vector<String> found;
        Vector<WString> wideFound;
        EXPECT_EQ(String(text).split(',', found, flags), fields) << text << ", flags " << flags;
        EXPECT_EQ(split(WStringFromAscii(text), L',', wideFound, flags), wideFields)
            << text << ", flags " << flags;
    }
}

TEST(WString, Numbers) {
    EXPECT_EQ(WStringFromAscii(nullptr) + WStringFromUTF8(nullptr), L"");
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
