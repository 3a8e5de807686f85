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
#include <vector>

#include "Vorn/Vorn.h"
#include "tests/support/Application.h"

namespace {

struct BothLocks {
    void lock() { std::lock(first, second); }
    void unlock() {
        second.unlock();
        first.unlock();
    }

    CriticalSection first, second;
};

struct NamedLock {
    void lock() { names.lock<int>("count"); }
    void unlock() { names.unlock<int>("count"); }

    Vorn::NamedObjectsNamespace names{"names"};
};

struct NoLock {
    void lock() {}
    void unlock() {}
};

// Two threads that count as high as they can.
template <class Lock>
bool countsUnder(Lock&& lock) {
    constexpr int rounds = 10'000;
    int count = 0;
    const auto counting = [&] {
        for (int i = 0; i < rounds; ++i) {
            const std::lock_guard guard(lock);
            ++count;
        }
    };
    std::jthread other(counting);
    counting();
    other.join();
    return count == 2 * rounds;
}

const char* locksGuard() {
    if (!countsUnder(CriticalSection())) return "a lock did not guard";
    if (!countsUnder(BothLocks())) return "two locks did not guard";
    return countsUnder(NamedLock()) ? nullptr : "a named lock did not guard";
}

// Whoever drops a copy last frees what all have read.
const char* textsAreShared() {
    for (int round = 0; round < 200; ++round) {
        const String text("shared text of round " + String(round));
        std::vector<std::jthread> writers;
        writers.reserve(4);
        for (int i = 0; i < 4; ++i)
            writers.emplace_back([copy = text] {
                String own = copy;
                own[0] = 'S';
            });
        if (text[0] != 's') return "the text changed";
    }
    return nullptr;
}

const char* handlesAreShared() {
    for (int round = 0; round < 200; ++round) {
        Vorn::Ptr<std::string> first(new std::string(100, 'x'));
        const std::jthread other([copy = first]() mutable {
            copy->front() = copy->back();
            copy = Vorn::Ptr<std::string>();
        });
        if (first->back() != 'x') return "the object changed";
        first = Vorn::Ptr<std::string>();
    }
    return nullptr;
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

void readBlockAfterDelete() {
    volatile char* const block = new char[100]();
    delete[] block;
    static_cast<void>(block[3]);
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
    if (scenario == "locks") return locksGuard();
    if (scenario == "shared_texts") return textsAreShared();
    if (scenario == "shared_handles") return handlesAreShared();
    const std::map<std::string, void (*)()> faults = {
        {"unguarded_count", [] { countsUnder(NoLock()); }},
        {"text_after_free", readTextAfterFree},
        {"wide_text_after_free", readWideTextAfterFree},
        {"block_after_delete", readBlockAfterDelete},
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
