// An application built with a sanitizer that uses the library as it is installed, without any. It
// plays one scenario, by itself without a report; those that are called after a fault commit it.
//
// Usage: CLIENT SCENARIO FOLDER

#include <climits>
#include <cstdio>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "Vorn/Vorn.h"
#include "tests/support/Application.h"

namespace {

struct TriedLock {
    void lock() {
        while (!section.try_lock()) std::this_thread::yield();
    }
    void unlock() { section.unlock(); }

    CriticalSection section;
};

struct NoLock {
    void lock() {}
    void unlock() {}
};

// Two threads that count as high as they can.
template <class Lock>
bool countsUnder(Lock&& lock) {
    constexpr int rounds = 1000;
    int count = 0;
    const auto counting = [&] {
        for (int i = 0; i < rounds; ++i) {
            const std::lock_guard guard(lock);
            ++count;
            std::this_thread::yield();  // So that the other thread meets the lock.
        }
    };
    std::jthread other(counting);
    counting();
    other.join();
    return count == 2 * rounds;
}

// Whoever drops a copy last frees what both have read.
bool copiesAreShared() {
    for (int round = 0; round < 200; ++round) {
        std::jthread other;  // Runs while this thread drops its copies.
        const String text("shared text of round " + String(round));
        const Vorn::Ptr<std::string> handle(new std::string(100, 'x'));
        other = std::jthread([text, handle] {
            String own = text;
            own[0] = 'S';
            handle->front() = handle->back();
        });
        if (text[0] != 's' || handle->back() != 'x') return false;
    }
    return true;
}

struct Node {
    Node* next = nullptr;
    int number = 0;
};

// Whoever pops a node reads what was written before it was pushed.
bool nodesAreHandedOver() {
    Node node;
    Vorn::LockFree::Stack<Node> stack;
    const std::jthread other([&] {
        node.number = 7;
        stack.push(&node);
    });
    const Node* popped = nullptr;
    while (!popped) popped = stack.pop();
    return popped->number == 7;
}

constexpr char kText[] = "a text of some length, on its own";

void readTextAfterFree() {
    auto owner = std::make_unique<String>(kText);
    const volatile char* const text = static_cast<const char*>(*owner);
    owner.reset();
    static_cast<void>(text[3]);
}

void readWideTextAfterFree() {
    auto owner = std::make_unique<WString>(100, L'x');
    const volatile wchar_t* const text = owner->c_str();
    owner.reset();
    static_cast<void>(text[3]);
}

void writePastText() {
    const String owner(kText);
    const_cast<char*>(static_cast<const char*>(owner))[100] = 'x';
}

// Many, since a stale word of the stack may look like a pointer to one.
void leakTexts() {
    for (int i = 0; i < 16; ++i) static_cast<void>(*new String*(new String(kText)));
}

void overflow() {
    volatile int number = INT_MAX;
    number = number + 1;
}

const char* play(const std::string& scenario, const std::string& folder) {
    if (scenario == "application") return test::applicationWorks(folder);
    if (scenario == "locks") {
        const bool guarded = countsUnder(CriticalSection()) && countsUnder(TriedLock());
        return guarded ? nullptr : "a lock did not guard";
    }
    if (scenario == "copies") return copiesAreShared() ? nullptr : "a copy changed the other";
    if (scenario == "nodes") return nodesAreHandedOver() ? nullptr : "a node was not written";
    const std::map<std::string, void (*)()> faults = {
        {"unguarded_count", [] { countsUnder(NoLock()); }},
        {"text_after_free", readTextAfterFree},
        {"wide_text_after_free", readWideTextAfterFree},
        {"past_the_text", writePastText},
        {"leaked_text", leakTexts},
        {"overflow", overflow},
    };
    faults.at(scenario)();
    return nullptr;
}

}  // namespace

int main(int, char** arguments) {
    const char* const failure = play(arguments[1], arguments[2]);
    if (failure) std::fprintf(stderr, "%s\n", failure);
    return failure ? 1 : 0;
}
