// Four threads at a time work on what may be shared; what they leave shows that nothing was lost.

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include "Vorn/Vorn.h"

namespace {

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
    };
    for (const auto& work : works) {
        std::vector<std::jthread> threads;
        for (std::size_t t = 0; t < 4; ++t)
            threads.emplace_back([&work, t] {
                for (std::size_t n = 0; n < kSteps; ++n) work(t, n);
            });
    }
    EXPECT_TRUE(Seen::total == 4 * kSteps && entries == 4 * kSteps);
    while (Node* const node = stack.pop()) node->popped += node->pushed;
    for (const Node& node : nodes) ASSERT_EQ(node.popped, 1u);
    for (std::size_t n = 0; n < 4 * kSteps; ++n)
        ASSERT_EQ(texts[n % 4][n / 4],
                  String(static_cast<unsigned>(n / 4)) + String("abcd"[n % 4]));
}

}  // namespace
