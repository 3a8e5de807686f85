// Four threads at a time work on what may be shared; what they leave shows that nothing was lost.

#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Vorn/Vorn.h"
#include "tests/support/TestPlatform.h"

namespace {

using namespace Vorn::PooledObjectDebug;

constexpr std::size_t kThreads = 4, kSteps = 100000;

// Runs `work(thread, step)` for every step on each of the threads, all at the same time.
template <class Work>
void runOnAllThreads(Work work) {
    std::vector<std::jthread> threads;
    threads.reserve(kThreads);
    for (std::size_t thread = 0; thread < kThreads; ++thread)
        threads.emplace_back([&work, thread] {
            for (std::size_t step = 0; step < kSteps; ++step) work(thread, step);
        });
}

// What every thread wrote is there for whoever destroys it.
struct Marked {
    ~Marked() { total += marks[0] + marks[1] + marks[2] + marks[3]; }

    static inline std::atomic<unsigned> total = 0;
    unsigned marks[kThreads] = {};
};

TEST(Threads, DropHandlesOfOneObject) {
    std::vector<Vorn::Ptr<Marked>> handles[kThreads];
    for (std::size_t step = 0; step < kSteps; ++step) {
        const auto object = Vorn::makePtr<Marked>();
        for (auto& ofThread : handles) ofThread.push_back(object);
    }
    runOnAllThreads([&](std::size_t thread, std::size_t step) {
        Vorn::Ptr<Marked>& handle = handles[thread][step];
        handle->marks[thread] = 1;
        handle = nullptr;
    });
    EXPECT_EQ(Marked::total, kThreads * kSteps);
}

TEST(Threads, ChangeStringsThatShareOneText) {
    const char ends[kThreads] = {'a', 'b', 'c', 'd'};
    std::vector<String> strings[kThreads];
    for (unsigned step = 0; step < kSteps; ++step) {
        const String text(step);
        for (auto& ofThread : strings) ofThread.push_back(text);
    }
    runOnAllThreads(
        [&](std::size_t thread, std::size_t step) { strings[thread][step] += ends[thread]; });
    for (std::size_t thread = 0; thread < kThreads; ++thread)
        for (unsigned step = 0; step < kSteps; ++step)
            ASSERT_EQ(strings[thread][step], String(step) + String(ends[thread]));
}

struct Node {
    Node* next = nullptr;
    unsigned pushed = 0, popped = 0;
};

TEST(Threads, PopWhatWasPushedOnce) {
    std::vector<Node> nodes(kThreads * kSteps);
    Vorn::LockFree::Stack<Node> stack;
    runOnAllThreads([&](std::size_t thread, std::size_t step) {
        Node& own = nodes[thread * kSteps + step];
        ++own.pushed;
        stack.push(&own);
        if (Node* const any = stack.pop()) any->popped += any->pushed;
    });
    while (Node* const left = stack.pop()) left->popped += left->pushed;
    for (const Node& node : nodes) ASSERT_EQ(node.popped, 1u);
}

TEST(Threads, AreAloneBehindALock) {
    const test::Threads yielding;
    CriticalSection lock;
    unsigned entries = 0;
    runOnAllThreads([&](std::size_t, std::size_t step) {
        const bool tried = step % 3 == 0;
        if (!tried || lock.attemptEntry() != 0) lock.enter();
        ++entries;
        EXPECT_NE(lock.owner(), 0u);
        EXPECT_EQ(lock.attemptEntry(), 0) << "once more, by the same thread";
        lock.leave();
        lock.leave();
    });
    EXPECT_EQ(entries, kThreads * kSteps);
}

TEST(Threads, UseAPoolWhileItIsReported) {
    const test::TemporaryFolder temporary;
    std::filesystem::create_directories(temporary.path / "Vornhold/Logs");
    const test::Folder folder(temporary.path.string() + '/');
    auto past = std::make_unique<test::Clock>(-10000.0);
    LoggingTraitsBase pool("measured from the start");
    past.reset();
    runOnAllThreads([&](std::size_t, std::size_t step) {
        pool.ltb_afterPop(nullptr, 0);
        pool.ltb_afterPush(nullptr, 0);
        if (step % 10000 == 0) pool.dump();
    });
    const LoggingStats& stats = *reinterpret_cast<LoggingStats* const*>(&pool)[1];
    EXPECT_EQ(stats.inUse, 0);
    EXPECT_GT(stats.maxInUse, 0);
    EXPECT_LE(stats.maxInUse, 4);
}

TEST(Threads, FindTheOneObjectThatAnyOfThemMade) {
    using Object = std::atomic<unsigned>;
    static Object made = 0;
    constexpr std::size_t kStepsAKey = 1000;
    const auto make = []() -> void* {
        std::this_thread::yield();
        ++made;
        return &made;
    };
    const test::Threads yielding;
    Vorn::NamedObjectsNamespace space("test");
    std::barrier together(kThreads);
    runOnAllThreads([&](std::size_t thread, std::size_t step) {
        const std::string key = std::to_string(step / kStepsAKey);
        if (step % kStepsAKey == 0) {
            together.arrive_and_wait();
            space.findOrCreate<Object>(key.c_str(), make);
            const std::string ownKey = key + " of thread " + std::to_string(thread);
            EXPECT_EQ(space.find<int>(ownKey.c_str()), nullptr) << "while others add theirs";
            space.lock<int>(ownKey.c_str());
            space.unlock<int>(ownKey.c_str());
        }
        EXPECT_EQ(space.find<Object>(key.c_str()), &made);
    });
    EXPECT_EQ(made, kSteps / kStepsAKey) << "one for each key";
}

TEST(Threads, SeeWhatTheirOwnCountingMade) {
    constexpr std::int32_t kCounts = 1000000;
    std::int32_t count = 2 * kCounts;
    std::atomic<std::int64_t> sum = 0;
    const auto countDown = [&] {
        std::int64_t seen = 0;
        for (int n = 0; n < kCounts; ++n) seen += OS()->atomicServices()->decrement(&count);
        sum += seen;
    };
    { const std::jthread first(countDown), second(countDown); }
    EXPECT_EQ(sum, std::int64_t{kCounts} * (2 * kCounts - 1)) << "each number once";
}

struct Spare : Reclaimable {
    std::size_t reclaimableBytes() override { return 1; }
    std::size_t reclaim(std::size_t) override { return 1; }
    std::size_t reclaimAll() override { return 1; }
};

TEST(Threads, RegisterMemoryThatCanBeGivenBackAtTheSameTime) {
    std::vector<std::unique_ptr<Spare>> kept(kThreads);
    runOnAllThreads(
        [&](std::size_t thread, std::size_t) { kept[thread] = std::make_unique<Spare>(); });
    EXPECT_EQ(OS()->memoryServices()->reclaim(1000), kThreads) << "each kept one is asked once";
}

TEST(Threads, SleepWhileTheyWaitForALock) {
    CriticalSection section;
    section.enter();
    const std::jthread waiter([&] {
        section.enter();
        section.leave();
        timespec busy{};
        ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &busy);
        EXPECT_LT(busy.tv_sec * 1000 + busy.tv_nsec / 1000000, 50) << "milliseconds";
    });
    std::this_thread::sleep_for(std::chrono::seconds(1));
    section.leave();
}

}  // namespace
