// Four threads at a time work on what may be shared; what they leave shows that nothing was lost.

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <barrier>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Vorn/Vorn.h"
#include "tests/support/TestPlatform.h"

namespace {

using namespace Vorn::PooledObjectDebug;

constexpr std::size_t kSteps = 100000;

// What every thread wrote is there for whoever destroys it.
struct Seen {
    ~Seen() { total += by[0] + by[1] + by[2] + by[3]; }
    static inline std::atomic<unsigned> total = 0;
    unsigned by[4] = {};
};

struct Node {
    Node* next = nullptr;
    unsigned pushed = 0, popped = 0;
};

std::atomic<unsigned> made = 0;

void* make() {
    return std::this_thread::yield(), ++made, &made;
}

TEST(Threads, LoseNothing) {
    std::vector<Vorn::Ptr<Seen>> handles[4];
    std::vector<String> texts[4];
    for (std::size_t n = 0; n < kSteps; ++n) {
        const Vorn::Ptr<Seen> handle(new Seen);
        const String text(static_cast<unsigned>(n));
        for (auto& copies : handles) copies.push_back(handle);
        for (auto& copies : texts) copies.push_back(text);
    }
    std::vector<Node> nodes(4 * kSteps);
    Vorn::LockFree::Stack<Node> stack;
    CriticalSection lock;
    unsigned entries = 0;
    const test::Threads yielding;
    const std::string root = testing::TempDir() + "threads" + std::to_string(::getpid());
    std::filesystem::create_directories(root + "/Vornhold/Logs");
    const test::Folder folder(root + '/');
    auto past = std::make_unique<test::Clock>(-10000.0);
    LoggingTraitsBase pool("measured from the start");
    past.reset();
    const LoggingStats& use = *reinterpret_cast<LoggingStats* const*>(&pool)[1];
    Vorn::NamedObjectsNamespace space("test");
    std::barrier together(4);
    const std::function<void(std::size_t, std::size_t)> works[] = {
        [&](std::size_t t, std::size_t n) { ++handles[t][n]->by[t], handles[t][n] = {}; },
        [&](std::size_t t, std::size_t n) { texts[t][n] += "abcd"[t]; },
        [&](std::size_t t, std::size_t n) {
            stack.push(&(++nodes[t * kSteps + n].pushed, nodes[t * kSteps + n]));
            if (Node* const node = stack.pop()) node->popped += node->pushed;
        },
        [&](std::size_t, std::size_t n) {
            if (n % 3 > 0 || lock.attemptEntry() != 0) lock.enter();
            EXPECT_TRUE(++entries % 50000 != 0 || (std::this_thread::yield(), lock.owner() != 0));
            EXPECT_EQ(lock.attemptEntry(), 0);
            lock.leave(), lock.leave();
        },
        [&](std::size_t, std::size_t n) {
            for (int uses = 0; uses < 10; ++uses)
                pool.ltb_beforePop(0), pool.ltb_afterPop(nullptr, 0),
                    pool.ltb_beforePush(nullptr, 0), pool.ltb_afterPush(nullptr, 0);
            if (n % 10000 == 0) pool.dump();
        },
        [&](std::size_t, std::size_t n) {
            const std::string key = std::to_string(n / 500);
            if (n % 500 == 0) {
                together.arrive_and_wait();
                space.findOrCreate<std::atomic<unsigned>>(key.c_str(), make);
                space.lock<int>(key.c_str()), space.unlock<int>(key.c_str());
            }
            EXPECT_EQ(space.find<std::atomic<unsigned>>(key.c_str()), &made);
        },
    };
    for (const auto& work : works) {
        std::vector<std::jthread> threads;
        for (std::size_t t = 0; t < 4; ++t)
            threads.emplace_back([&work, t] {
                for (std::size_t n = 0; n < kSteps; ++n) work(t, n);
            });
    }
    EXPECT_TRUE(Seen::total == 4 * kSteps && entries == 4 * kSteps && made == 200);
    std::filesystem::remove_all(root);
    EXPECT_TRUE(use.inUse == 0 && use.maxInUse > 0 && use.maxInUse <= 4);
    while (Node* const node = stack.pop()) node->popped += node->pushed;
    for (const Node& node : nodes) ASSERT_EQ(node.popped, 1u);
    for (std::size_t n = 0; n < 4 * kSteps; ++n)
        ASSERT_EQ(texts[n % 4][n / 4],
                  String(static_cast<unsigned>(n / 4)) + String("abcd"[n % 4]));
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
    constexpr std::size_t kThreads = 4;
    std::vector<std::unique_ptr<Spare>> kept(kThreads);
    {
        std::vector<std::jthread> threads;
        threads.reserve(kThreads);
        for (auto& last : kept)
            threads.emplace_back([&last] {
                for (std::size_t step = 0; step < kSteps; ++step) last = std::make_unique<Spare>();
            });
    }
    EXPECT_EQ(OS()->memoryServices()->reclaim(1000), kThreads) << "each kept one is asked once";
}

// As the system shows a thread of this process: R for one that runs, S for one that sleeps.
char stateOf(pid_t thread) {
    std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string line;
    std::getline(status, line);
    return line[line.rfind(')') + 2];
}

TEST(Threads, SleepWhileTheyWaitForALock) {
    CriticalSection section;
    section.enter();
    std::atomic<pid_t> waiter = 0;
    std::jthread thread([&] {
        waiter = ::gettid();
        section.enter();
        section.leave();
    });
    constexpr int kEnoughInARow = 20;
    int asleep = 0;
    for (int looks = 0; looks < 10000 && asleep < kEnoughInARow; ++looks) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        asleep = waiter != 0 && stateOf(waiter) == 'S' ? asleep + 1 : 0;
    }
    EXPECT_EQ(asleep, kEnoughInARow);
    section.leave();
}

}  // namespace
