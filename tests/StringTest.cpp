#include <gtest/gtest.h>

#include <utility>

#include "Vorn/StringRep.h"
#include "Vorn/SubString.h"
#include "Vorn/Vector.h"
#include "tests/support/StringModel.h"
#include "tests/support/TestPlatform.h"

namespace {

using test::bytesOf;

constexpr unsigned kNone = 0xFFFFFFFF;

StringRep* repOf(const String& s) {
    return *reinterpret_cast<StringRep* const*>(&s);
}

std::size_t roomOf(const String& s) {
    return repOf(s) ? repOf(s)->capacity : 0;
}

// Each as "text/5", with the capacity.
std::string show(const std::same_as<String> auto&... s) {
    return ((bytesOf(s) + '/' + (repOf(s) ? std::to_string(roomOf(s)) : "-") + ' ') + ...);
}

TEST(String, ConstructionSizesTheText) {
    const String abc("abc"), none, empty(""), null(static_cast<const char*>(nullptr));
    EXPECT_EQ(
        show(null, String(nullptr), String("a", 0), String(empty, 2), String(none(0, 2)), empty,
             String('x', 0), String(abc, 0), String(abc(3, 1)), String('x'), String('x', 3),
             String('x', 8), abc, String("abc", 2), String(abc, 2), String(abc, 9),
             String(abc(1, kNone)), String(-3), String(3000000000u), String(1.5), String(L"\xE9")),
        "/- /- /- /- /- /1 /1 /1 /1 x/2 xxx/4 xxxxxxxx/16 abc/4 ab/3 ab/3 abc/4 bc/3 -3/3 "
        "3000000000/11 1.500000/9 \xC3\xA9/3 ");
}

TEST(String, EditsGiveTheKnownResults) {
    const String none, abc("abc"), dots("a.b.c"), zero("a\0.", 3);
    EXPECT_EQ(show(String("aBc\xE9").toUpper(), String("aBc\xE9").toLower(),
                   String(abc).rotateLeft(5), String("  ").stripLeadingSpaces(),
                   String("  a ").stripLeadingSpaces(), String("  a ").stripTrailingSpaces(),
                   String("n") += -7, String("n") += 2.5, "-" + abc + dots + "c",
                   dots.substitute(".", "::"), dots.substitute("a.", ""), abc.substitute("", "-"),
                   abc.substitute(nullptr, nullptr), String(zero).substitute('.', '-'),
                   String(abc).insert(nullptr, 2, 1, 4), String(abc).replaceAll(nullptr, 2)),
              "ABC\xE9/5 abc\xE9/5 cab/4   /3 a /5   a/5 n-7/4 n2.500000/16 -abca.b.cc/16 "
              "a::b::c/8 b.c/6 -a-b-c/8 abc/4 a -/4 abc /8 /4 ");
    EXPECT_EQ(repOf(dots.substitute("#", "")), repOf(dots));
}

// Searching ends at the zero byte; what stands behind it moves along.
TEST(StringRep, SubstitutesTextsOfItsOwn) {
    const std::string text = "aabaab";
    for (unsigned i = 0; i < 49; ++i) {
        String s("aabaab\0aabaab", 13), alone("aabaab");
        alone = alone.substitute(&text[i / 7], &text[i % 7]);
        repOf(s)->substitute(s.textAt(i / 7), s.textAt(i % 7));
        EXPECT_EQ(bytesOf(s), bytesOf(alone) + '\0' + text);
        EXPECT_EQ(roomOf(s), i % 7 < i / 7 ? StringRep::sizeFor(s.size()) : 14);
    }
}

// Up to the limit the platform is asked for memory, past it is not.
TEST(StringRep, LengthsStayBelow2GiB) {
    test::MemoryLedger ledger;
    String s("a");
    ledger.failAt(1);
    EXPECT_THROW(s.insert("x", 1, 0, 0x7FFFFFFF), std::bad_alloc);
    EXPECT_THROW(s.insert("x", kNone, 0, 0), std::bad_alloc);
    EXPECT_THROW(s.replace("x", kNone, 0, 1), std::bad_alloc);
    EXPECT_EQ(ledger.refusals(), 0u);
    EXPECT_THROW(s.insert("x", 1, 0, 0x7FFFFFFE), std::bad_alloc);
    EXPECT_TRUE(ledger.refusals() == 1 && show(s) == "a/2 ");
}

TEST(StringRep, UnshareLeavesTheOthersTheirText) {
    EXPECT_EQ(test::wrongRep(std::string("a\0b", 3), 'x') + test::wrongRep("", '\0'), 0);
}

TEST(SubString, ViewsAreClippedAndKeepTheirText) {
    String s("abcdef");
    EXPECT_TRUE(SubString(s, 6, 1).index() == 0 && SubString(s, 1, kNone).size() == 5);
    const SubString view(s, 2, 3);
    s.toUpper();
    EXPECT_TRUE(show(String(view)) == "cde/4 " && !(view == SubString(s, 2, 3)));
}

}  // namespace
