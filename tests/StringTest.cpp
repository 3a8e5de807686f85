#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <sstream>
#include <tuple>

#include "Vorn/StringRep.h"
#include "Vorn/SubString.h"
#include "tests/support/TestPlatform.h"

namespace {

constexpr unsigned kNone = 0xFFFFFFFF;

StringRep* repOf(const String& s) {
    StringRep* rep;
    std::memcpy(&rep, &s, sizeof rep);
    return rep;
}

std::size_t roomOf(const String& s) {
    return repOf(s) ? repOf(s)->capacity : 0;
}

std::string bytesOf(const String& s) {
    EXPECT_EQ(static_cast<const char*>(s)[s.size()], '\0');
    return std::string(s, s.size());
}

// Each as "text/5", with the capacity.
std::string show(const std::same_as<String> auto&... s) {
    return ((bytesOf(s) + '/' + (repOf(s) ? std::to_string(roomOf(s)) : "-") + ' ') + ...);
}

// Each step edits one string with bytes that may lie in itself or in one that shares its text.
TEST(String, EditsFollowTheModel) {
    std::mt19937 random(1);
    const auto pick = [&](std::size_t n) { return static_cast<unsigned>(random() % n); };
    String strings[4], fresh;
    std::string models[4];
    for (int step = 0; step < 40000; ++step) {
        const unsigned i = pick(4), j = pick(4);
        String &s = strings[i], &o = strings[j];
        std::string &m = models[i], &p = models[j];
        for (fresh = String(); pick(6) > 0;) fresh += "ab B\0\xE9"[pick(6)];
        const String& source = pick(3) > 0 ? strings[pick(4)] : fresh;
        const unsigned offset = pick(source.size() + 1), n = pick(source.size() - offset + 1);
        const unsigned at = pick(s.size() + 4), count = pick(2) > 0 ? n : kNone - n;
        const char *const src = source.textAt(0), *const text = source.textAt(offset);
        const std::string taken(text ? text : "", n), word(text ? text : "");
        const bool none = !repOf(s), shared = s.textAt(0) && repOf(s)->refCount > 1;
        const std::string own = shared ? m.c_str() : m;
        const std::size_t in = std::min<std::size_t>(at, own.size());
        const std::string wide = own + std::string(at - in, ' ');
        const std::size_t old = roomOf(s), kept = shared ? own.size() + 1 : old;
        const std::tuple<std::function<void()>, std::string, std::size_t> rows[] = {
            {[&] { s = String(text, n); }, taken, n > 0 ? n + 1 : 0},
            {[&] { s = o; }, p, roomOf(o)},
            {[&] { s += o; }, o.textAt(0) ? own + p : m, o.textAt(0) ? 0 : old},
            {[&] { s += text; }, text ? own + word : m, text ? 0 : old},
            {[&] { s += 'c'; }, own + 'c', 0},
            {[&] { s.insert(src, n, offset, at); }, std::string(wide).insert(at, taken), 0},
            {[&] { s.replace(src, n, offset, at); }, std::string(wide).replace(at, n, taken), kept},
            {[&] { s.replaceAll(text, n); }, taken, kept},
            {[&] { s.remove(at, count); }, std::string(own).erase(in, count), kept},
        };
        const auto& [edit, result, capacity] = rows[s.size() > 200 ? 0 : pick(std::size(rows))];
        edit(), m = result;
        ASSERT_TRUE(none || roomOf(s) == capacity || roomOf(s) == std::bit_ceil(m.size() + 1))
            << step;
        for (int k = 0; k < 4; ++k) {
            const StringRep* const rep = repOf(strings[k]);
            ASSERT_EQ(bytesOf(strings[k]), models[k]) << step;
            ASSERT_TRUE(!rep || rep->refCount == std::ranges::count(strings, rep, repOf)) << step;
        }
    }
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
    EXPECT_EQ(String(-1e300).size() + std::strlen(none), 309u);
    EXPECT_THROW(String(static_cast<const wchar_t*>(nullptr)), std::logic_error);
}

TEST(String, ComparesByTheRulesForBlanksAndMissingTexts) {
    const char* const texts[] = {nullptr, "", " ", "   ", "\t", "a", "a ", "B", "\xE9"};
    const auto blank = [](const char* t) { return !t || !t[std::strspn(t, " ")]; };
    const auto orders = [](auto x, auto y) { return std::array{x<y, x <= y, x> y, x >= y}; };
    for (unsigned i = 0; i < 81; ++i) {
        const char *const p = texts[i / 9], *const q = texts[i % 9];
        const String a(p), b(q);
        const int order = p && q ? std::strcmp(p, q) : !!p - !!q;
        const double known = p && q ? order : std::nan("");
        EXPECT_EQ(orders(a, b), orders(p || q ? known : 0, 0.0)) << i;
        EXPECT_EQ(orders(a, q), orders(known, 0.0)) << i;
        EXPECT_EQ(orders(p, b), orders(known, 0.0)) << i;
        EXPECT_EQ(a.compare(b) <=> 0, order <=> 0) << i;
        EXPECT_EQ(a == b, blank(p) ? blank(q) : q && order == 0) << i;
        EXPECT_EQ(a == q, q ? std::strcmp(a, q) == 0 : blank(p)) << i;
    }
}

TEST(String, FindsAndTests) {
    const String none, s("aB,,aB");
    EXPECT_TRUE(s.startsWith("aB", true) && s.startsWith("AB", false) && none.startsWith("", true));
    EXPECT_TRUE(s.endsWith(",aB", true) && s.endsWith(",AB", false) && none.endsWith("", true));
    EXPECT_FALSE(s.startsWith("AB", true) || s.startsWith(nullptr, true) ||
                 s.endsWith("AB", true) || s.endsWith(nullptr, true) || none.endsWith("x", true));
    EXPECT_TRUE(s.compareCaseInsensitive("Ab,,Ab") && !String("").compareCaseInsensitive(""));
    EXPECT_TRUE(s.index("aB", 1) == 4 && s.index("", 5) == 5 && s.rindex(',') == 3 &&
                s.rindex('\0') == 6 && s.nthIndex(2, ',') == 3 && none[0] == 0 && s[1] == 'B');
    EXPECT_EQ(s.index("", 6) & s.rindex('x') & s.nthIndex(3, ',') & s.nthIndex(1, '\0') &
                  none.index("", 0) & none.rindex('\0') & none.nthIndex(0, ','),
              kNone);
    EXPECT_EQ(String(" 2.5x").asDouble() + none.asDouble(), 2.5);
    const unsigned spans[][2] = {{7, 7}, {0, 2}, {3, 3}, {4, 6}, {kNone, kNone}};
    unsigned start = 7, end = 7;
    for (unsigned n = 0; n < 5; ++n) {
        EXPECT_EQ((n ? s : none).tokSpan(',', n - 1, start, end), n > 0 && n < 4);
        EXPECT_TRUE(start == spans[n][0] && end == spans[n][1]) << start << ' ' << end;
    }
}

TEST(String, EditsGiveTheKnownResults) {
    const String none, abc("abc"), dots("a.b.c"), zero("a\0.", 3);
    EXPECT_EQ(show(String("aBc\xE9").toUpper(), String("aBc\xE9").toLower(),
                   String(abc).rotateLeft(1), String(abc).rotateLeft(5), String("").rotateLeft(3),
                   String(none).toUpper().toLower().rotateLeft(1),
                   String(" \ta\t ").stripLeadingSpaces(), String(" \ta\t ").stripTrailingSpaces(),
                   String("  ").stripLeadingSpaces().stripTrailingSpaces(), String("n") += -7,
                   String("n") += 4000000000u, String("n") += 2.5, String("n") = 'c',
                   "-" + abc + dots + "c"),
              "ABC\xE9/5 abc\xE9/5 bca/4 cab/4 /1 /- \ta\t /6  \ta\t/6   /3 n-7/4 n4000000000/16 "
              "n2.500000/16 c/2 -abca.b.cc/16 ");
    EXPECT_EQ(show(dots.substitute(".", "::"), dots.substitute("a.", ""),
                   String("aaa").substitute("aa", "b"), abc.substitute("", "-"),
                   abc.substitute(nullptr, nullptr), String(dots).substitute('.', '-'),
                   String(zero).substitute('.', '-'), String(dots).replace("xy", 2, 0, 3),
                   String(abc).insert(nullptr, 2, 1, 4), String(abc).replaceAll(nullptr, 2)),
              "a::b::c/8 b.c/6 ba/4 -a-b-c/8 abc/4 a-b-c/6 a -/4 a.bxy/6 abc /8 /4 ");
    EXPECT_EQ(repOf(dots.substitute("#", "")), repOf(dots));
    String s("ab"), t;
    std::istringstream in("c\xE9 \td");
    EXPECT_TRUE(s.readFrom(in) > 0 && s.readFrom(in) > 0 && in.tellg() == 4 && t.readFrom(in) < 0);
    s[7] = s[0];
    EXPECT_EQ(show(s, t, abc, dots), "abc\xE9   a/16 d/2 abc/4 a.b.c/6 ");
}

TEST(String, CopiesAllocateNothingAndMovesCountNothing) {
    test::MemoryLedger ledger;
    String a("text");
    test::RecordingAtomics atomics;
    String b(a), c, d(std::move(a));
    c = b, b = c, std::swap(d, a);
    EXPECT_TRUE(atomics.increments == 2 && atomics.decrements == 0 && ledger.allocations() == 2);
}

TEST(StringRep, CapacitiesFollowTheLength) {
    StringRep rep("0123456789", 10);
    EXPECT_TRUE(rep.resizeFor(100) && rep.expandTo(10) && rep.capacity == 128);
    EXPECT_TRUE(rep.resizeFor(20) && rep.capacity == 32 && rep.expandTo(12) && rep.capacity == 16);
    rep.buffer = rep.realloc(rep.buffer, 40);
    EXPECT_STREQ((rep = rep.buffer + 9).buffer, "9  ");
    EXPECT_TRUE(rep.capacity == 4 && (rep = 'x').capacity == 2 && !(rep = nullptr).buffer);
    EXPECT_TRUE(rep.sizeFor(0) == 1 && rep.sizeFor(3) == 4 && rep.sizeFor(4) == 8);
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

// The other holder of a text lets it go as soon as a copy is made.
struct OtherLetsGo : test::RecordingAtomics {
    explicit OtherLetsGo(StringRep* rep) : shared(rep) { shared->refCount = 2; }
    void increment(std::int32_t* n) override { shared->refCount = 1, next->increment(n); }

    StringRep* const shared;
};

TEST(StringRep, UnshareFreesWhatNobodyElseHolds) {
    test::MemoryLedger ledger;
    StringRep rep("a\0b", 3), *const last = new StringRep("ab", 2);
    EXPECT_EQ(rep.unshare(), &rep);
    rep.refCount = 2;
    const std::unique_ptr<StringRep> copy(rep.unshare());
    EXPECT_TRUE(copy->capacity == 2 && copy->refCount == 1 && rep.refCount == 1);
    String s("ab");
    const OtherLetsGo other(last), another(repOf(s));
    delete last->unshare(), s += 'c';
    EXPECT_EQ(ledger.live(), 5u);
}

TEST(SubString, ViewsAreClippedAndKeepTheirText) {
    String s("abcdef");
    const auto shape = [](const SubString& view) { return view.index() * 10 + view.size(); };
    EXPECT_TRUE(shape(SubString(s, 6, 1)) == 0 && shape(SubString(s, 9)) == 0);
    EXPECT_TRUE(shape(SubString(s, 2)) == 24 && shape(SubString(s, 1, kNone)) == 15);
    SubString view(s, 2, 3), copy(view);
    s.toUpper();
    EXPECT_TRUE(view == SubString(String("cde")) && !(view == SubString(s, 2, 3)));
    EXPECT_FALSE(view == SubString(String("cdef"), 0, 2));
    view.purge();
    EXPECT_TRUE(view == SubString(String()) && shape(view) == 0 && !repOf(String(view)));
    view = copy, copy = s;
    EXPECT_EQ(show(String(view), String(copy)), "cde/4 ABCDEF/7 ");
}

}  // namespace
