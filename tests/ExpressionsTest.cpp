// What ordinary expressions of the library's types mean, alone and where the standard library takes
// types of its own. Overloads that are added later must not change it.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <map>
#include <span>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "Vorn/Vorn.h"

namespace {

using namespace std::string_view_literals;

const char* const null = nullptr;

TEST(Expressions, BuildTexts) {
    const auto forward = [](auto... from) { return String(from...); };
    EXPECT_STREQ(String(null), "");
    EXPECT_STREQ(String(65), "65");
    EXPECT_STREQ(String(short{65}), "65");
    EXPECT_STREQ(String(true), "1");
    EXPECT_STREQ(String(0.5f), "0.500000");
    EXPECT_STREQ(String(L"wide"), "wide");
    EXPECT_STREQ(forward(7), "7");
    EXPECT_STREQ(forward("cd", 1u), "c");
}

TEST(Expressions, JoinTexts) {
    const String ab("ab");
    EXPECT_STREQ(ab + null, "ab");
    EXPECT_STREQ(ab + nullptr, "ab");
    EXPECT_STREQ(ab + ab(1, 1), "abb");
    EXPECT_STREQ(ab + L"!", "ab!");
}

TEST(Expressions, ChangeTexts) {
    String text;
    EXPECT_STREQ(text = std::string("ab"), "ab");
    EXPECT_STREQ(text += std::string_view("cd"), "abcd");
    EXPECT_STREQ(text += true, "abcd1");
    text[0] = text[1];
    EXPECT_STREQ(text, "bbcd1");
    EXPECT_STREQ(text = nullptr, "");
}

TEST(Expressions, CompareTexts) {
    const String ab("ab"), none;
    EXPECT_TRUE("ab" == ab);
    EXPECT_TRUE("cd" != ab);
    EXPECT_TRUE(ab == ab(0, 2));
    EXPECT_TRUE(none == nullptr);
    EXPECT_TRUE("a" < ab);
    EXPECT_TRUE((ab <=> "b") < 0);
    EXPECT_TRUE(std::pair(ab, 1) < std::pair(ab, 2));
}

TEST(Expressions, ReadTexts) {
    const String ab("ab"), none;
    std::ostringstream stream;
    stream << ab << ab[0] << ab(1, 1).view();
    EXPECT_EQ(stream.str(), "abab");
    EXPECT_EQ(ab.index(String("b"), 0), 1u);
    EXPECT_TRUE(ab ? true : false);
    EXPECT_TRUE(none ? true : false) << "a pointer to no characters";
}

TEST(Expressions, BuildTextsFromViewsAndBack) {
    const String text("a\0b"sv);
    EXPECT_EQ(text.view(), "a\0b"sv);
    EXPECT_EQ(std::string(text.begin(), text.end()), "a\0b"sv);
    EXPECT_EQ(text(1, 9).view(), "\0b"sv);
    EXPECT_TRUE(String(""sv).empty());
    EXPECT_FALSE(String(" ").empty());
    EXPECT_EQ(String().view(), "");
}

// `<` calls nothing smaller than a string that never had text; maps and sets order by `compare`.
TEST(Expressions, KeysOfMapsAndSetsStayApart) {
    const std::map<String, int> numbers{{String(), 0}, {"", 1}, {" ", 2}, {"a", 3}, {"A", 4}};
    EXPECT_EQ(numbers.size(), 5u);
    EXPECT_EQ(numbers.begin()->second, 0);
    EXPECT_EQ(numbers.at(" "), 2);
}

TEST(Expressions, EqualStringsHashAlike) {
    const std::hash<String> hash;
    const String cut("text\0more"sv);
    EXPECT_EQ(hash(String()), hash(String("   ")));
    EXPECT_EQ(hash(String("text")), hash(cut));
    EXPECT_EQ((std::unordered_set<String>{"a", "b", "a", nullptr, "  "}.size()), 3u);
}

TEST(Expressions, WideTextsAreKeysAndPaths) {
    const std::filesystem::path path = "/videos/gr\xC3\xBCn.mov";
    const WString wide = Vorn::WStringFromPath(path);
    EXPECT_EQ(wide, L"/videos/gr\u00FCn.mov");
    EXPECT_EQ(Vorn::pathFromWString(wide), path);
    EXPECT_EQ(Vorn::WStringFromView("gr\xC3\xBCn, rot"sv.substr(0, 5)), L"gr\u00FCn");
    EXPECT_EQ((std::unordered_map<WString, int>{{L"key", 7}}.at(L"key")), 7);
}

TEST(Expressions, VectorsWorkWithAlgorithmsAndViews) {
    Vector<int> numbers{3, 1, 2};
    std::ranges::sort(numbers);
    *std::back_inserter(numbers) = 4;
    EXPECT_EQ(numbers, (Vector<int>{1, 2, 3, 4}));
    EXPECT_NE(numbers, (Vector<int>{1, 2, 3}));
    EXPECT_NE((Vector<int>{1, 2, 3}), numbers);
    EXPECT_EQ(std::span(numbers).back(), 4);
    EXPECT_EQ(numbers.front(), 1);
    EXPECT_EQ(numbers.back(), 4);
    EXPECT_EQ(std::as_const(numbers).front(), 1);
    EXPECT_EQ(std::as_const(numbers).back(), 4);
    EXPECT_FALSE(numbers.empty());
}

TEST(Expressions, MovesTakeTheStorageOfVectors) {
    Vector<String> first{"a", "b"}, third;
    const String* const storage = first.data();
    Vector<String> second = std::move(first);
    EXPECT_TRUE(first.empty());  // NOLINT(bugprone-use-after-move)
    third = std::move(second);
    EXPECT_EQ(third.data(), storage);
    EXPECT_EQ(second.getCapacity(), 0u);  // NOLINT(bugprone-use-after-move)
}

struct Clip {
    virtual ~Clip() = default;
};
struct Title : Clip {
    explicit Title(String shown) : text(std::move(shown)) {}
    String text;
};

TEST(Expressions, HandlesShareWithThoseOfBases) {
    const Vorn::Ptr<Title> title = Vorn::makePtr<Title>("Intro");
    Vorn::Ptr<Clip> clip = title;
    const Vorn::Ptr<const Clip> reader = clip;
    EXPECT_EQ(reader.get(), title.get());
    EXPECT_EQ((std::unordered_set{clip, Vorn::Ptr<Clip>(title)}.size()), 1u);
    EXPECT_NE(clip, nullptr);
    clip = nullptr;
    EXPECT_EQ(clip, nullptr);
    EXPECT_STREQ(title->text, "Intro");
}

// What a class that is derived from the types may read.
struct Pool : Vorn::PooledObjectDebug::LoggingTraitsBase {
    Pool() : LoggingTraitsBase("pool") {}
    int inUse() const { return stats->inUse; }
};

TEST(Expressions, FieldsThatAreLaidOutCanBeRead) {
    Pool pool;
    EXPECT_EQ(pool.inUse(), 0);
    EXPECT_EQ(Vorn::PooledObjectDebug::gAllLoggers.head->logger, &pool) << "the newest";
    String text("abc");
    EXPECT_EQ(text[2].index, 2u);
    EXPECT_EQ(text[2].string, &text);
}

// What converts to both is a text as it ever was, and functions have one address.
struct Name {
    operator const char*() const { return "name"; }
    operator std::string_view() const { return "another"; }
};
static_assert(std::is_constructible_v<String, Name>);
static_assert(std::is_pointer_v<decltype(&Vorn::WStringFromUTF8)>);

// Conversions that would do something else than they seem to; traps/ has expressions.
static_assert(!std::is_convertible_v<std::string, String>, "it could be cut at a zero byte unseen");
struct Opaque;
struct DeleteArrays;
static_assert(std::is_copy_constructible_v<Vorn::Ptr<Opaque>>, "a type need not be complete");
static_assert(std::is_convertible_v<Vorn::Ptr<Opaque>, Vorn::Ptr<const Opaque>>);
static_assert(
    !std::is_convertible_v<Vorn::Ptr<Title, DeleteArrays>, Vorn::Ptr<Clip, DeleteArrays>>);
static_assert(!std::is_convertible_v<Vorn::Ptr<const Clip>, Vorn::Ptr<Clip>>);
static_assert(!std::is_convertible_v<Vorn::Ptr<String>, Vorn::Ptr<SubString>>);

}  // namespace
