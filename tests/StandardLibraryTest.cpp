// The library's types where the standard library takes its own: containers, algorithms, guards.

#include <gtest/gtest.h>

#include <condition_variable>
#include <filesystem>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <numeric>
#include <optional>
#include <set>
#include <span>
#include <thread>
#include <unordered_map>
#include <unordered_set>

#include "Vorn/Vorn.h"
#include "tests/support/TestPlatform.h"

namespace {

using namespace std::string_view_literals;

TEST(StandardString, BuildsFromViewsAndGivesThem) {
    const String text("a\0b"sv);
    EXPECT_EQ(text.view(), "a\0b"sv);
    EXPECT_EQ(std::string(text.begin(), text.end()), "a\0b"sv);
    EXPECT_EQ(String(std::string("standard")).view(), "standard");
    EXPECT_EQ(text(1, 9).view(), "\0b"sv);
    EXPECT_TRUE(String().empty());
    EXPECT_TRUE(String(""sv).empty());
    EXPECT_FALSE(String(" ").empty());
    EXPECT_EQ(String().view(), "");
}

// `<` calls nothing smaller than a string that never had text; maps and sets order by `compare`.
TEST(StandardString, KeysOfMapsAndSetsStayApart) {
    const std::map<String, int> numbers{{String(), 0}, {"", 1}, {" ", 2}, {"a", 3}, {"A", 4}};
    EXPECT_EQ(numbers.size(), 5u);
    EXPECT_EQ(numbers.at(nullptr), 0);
    EXPECT_EQ(numbers.at(" "), 2);
    EXPECT_EQ((std::set<String>{"b", nullptr, "a"}.begin()->textAt(0)), nullptr);
}

TEST(StandardString, EqualStringsHashAlike) {
    const std::hash<String> hash;
    const String cut("text\0more"sv);
    EXPECT_EQ(hash(String()), hash(String("   ")));
    EXPECT_EQ(hash(String("text")), hash(cut));
    EXPECT_EQ((std::unordered_set<String>{"a", "b", "a", nullptr, "  "}.size()), 3u);
}

TEST(StandardString, WideTextsAreKeysAndPaths) {
    const std::filesystem::path path = "/videos/gr\xC3\xBCn.mov";
    const WString wide = Vorn::WStringFromPath(path);
    EXPECT_EQ(wide, L"/videos/gr\u00FCn.mov");
    EXPECT_EQ(Vorn::pathFromWString(wide), path);
    EXPECT_EQ(Vorn::WStringFromView("gr\xC3\xBCn, rot"sv.substr(0, 5)), L"gr\u00FCn");
    EXPECT_EQ((std::unordered_map<WString, int>{{L"key", 7}}.at(L"key")), 7);
}

TEST(StandardVector, WorksWithAlgorithmsAndViews) {
    Vector<int> numbers{3, 1, 2};
    std::ranges::sort(numbers);
    EXPECT_EQ(numbers, (Vector<int>{1, 2, 3}));
    EXPECT_NE(numbers, (Vector<int>{1, 2}));
    const int more[] = {1, 2, 3};
    std::ranges::copy(more, std::back_inserter(numbers));
    EXPECT_EQ(std::accumulate(numbers.begin(), numbers.end(), 0), 12);
    EXPECT_EQ(std::span(numbers).subspan(3)[1], 2);
    EXPECT_EQ(numbers.front(), 1);
    EXPECT_EQ(numbers.back(), 3);
    EXPECT_EQ(numbers.data(), numbers.begin());
    EXPECT_TRUE(Vector<int>().empty());
}

TEST(StandardVector, MovesTakeTheStorage) {
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

TEST(StandardHandle, SharesWithHandlesOfItsBases) {
    const Vorn::Ptr<Title> title = Vorn::makePtr<Title>("Intro");
    Vorn::Ptr<Clip> clip = title;
    const Vorn::Ptr<const Clip> reader = clip;
    EXPECT_EQ(clip.get(), title.get());
    EXPECT_EQ(reader.get(), clip.get());
    EXPECT_EQ(clip, Vorn::Ptr<Clip>(title));
    EXPECT_EQ((std::unordered_set{clip, Vorn::Ptr<Clip>(title)}.size()), 1u);
    const Vorn::Ptr<Clip> none = nullptr;
    EXPECT_EQ(none, nullptr);
    clip = nullptr;
    EXPECT_EQ(clip, none);
    EXPECT_NE(title, nullptr);
}

TEST(StandardHandle, MakingOneLeavesNothingWhereMemoryRunsOut) {
    test::MemoryLedger ledger;
    for (const std::size_t refused : {1u, 2u}) {
        ledger.failAt(refused);
        EXPECT_THROW(Vorn::makePtr<Title>(String()), std::bad_alloc) << "allocation " << refused;
        EXPECT_EQ(ledger.live(), 0u);
    }
}

TEST(StandardLock, GuardsAndConditionsTakeIt) {
    CriticalSection first, second;
    std::condition_variable_any changed;
    bool ready = false;
    std::jthread other([&] {
        const std::scoped_lock both(first, second);
        ready = true;
        changed.notify_one();
    });
    std::unique_lock waiting(first);
    changed.wait(waiting, [&] { return ready; });
    EXPECT_NE(first.owner(), 0u);
    waiting.unlock();
    EXPECT_EQ(first.owner(), 0u);
    EXPECT_TRUE(first.try_lock());
    first.unlock();
}

// What a class that is derived from the types may read.
struct Pool : Vorn::PooledObjectDebug::LoggingTraitsBase {
    Pool() : LoggingTraitsBase("pool") {}
    int inUse() const { return stats->inUse; }
};

TEST(StandardLook, FieldsThatAreLaidOutCanBeRead) {
    Pool pool;
    pool.ltb_afterPop(nullptr, 0);
    EXPECT_EQ(pool.inUse(), 1);
    const auto* const newest = Vorn::PooledObjectDebug::gAllLoggers.head;
    ASSERT_NE(newest, nullptr);
    EXPECT_EQ(newest->logger, &pool);
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

// Code that would do something else than it seems to is not compiled; traps/ has more of it.
template <class T, class Value>
concept Assigns = requires(T target, Value value) {
    target = value;
};

static_assert(Assigns<String, char> && Assigns<String, const char*> && Assigns<String, String>);
static_assert(Assigns<String, std::nullptr_t> && Assigns<String, const wchar_t*>);
static_assert(!Assigns<String, unsigned char> && !Assigns<String, long>);
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
