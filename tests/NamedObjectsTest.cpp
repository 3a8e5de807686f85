#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <chrono>
#include <list>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Vorn/Vorn.h"
#include "tests/support/TestPlatform.h"

namespace {

using Vorn::Exception::RuntimeError;

// What the next operation gets, and what its key should come to.
Vorn::NamedObjectsNamespace* space;
const std::type_info* type;
const char* name;
char* argument;
struct Key {
    char* object = nullptr;
    unsigned depth = 0;
} * key;

char objects[2];

void* make() {
    return argument;
}

void* makeAfterOther() {
    return space->create_(*type, name, &objects[0]), &objects[1];
}

using Action = std::string (*)();
#define ACTION(...) []() -> std::string { return __VA_ARGS__; }
#define ROW(real, model) std::pair<Action, Action>(ACTION((real, "")), ACTION(model))

constexpr char kDuplicate[] = "Attempted to create named objects with duplicate names!";
constexpr char kNotLocked[] =
    "Attempted to unlock a named object that had not previously been locked!";

// Operations; and what they do to the key, or the message that they fail with.
const std::pair<Action, Action> operations[] = {
    ROW(space->unlock_(*type, name), key->depth ? (--key->depth, "") : kNotLocked),
    ROW(space->find_(*type, name), ""),
    ROW(space->remove_(*type, name), (key->object = nullptr, "")),
    ROW(space->create_(*type, name, argument),
        key->object ? kDuplicate : (key->object = argument, "")),
    ROW(space->createOrReplace_(*type, name, argument), (key->object = argument, "")),
    ROW(space->lock_(*type, name, true), (++key->depth, "")),
    ROW(space->findOrCreate_(*type, name, make),
        (key->object = key->object ? key->object : argument, "")),
    ROW(space->findOrCreate_(*type, name, []() -> void* { throw RuntimeError("thrown", "", 1); }),
        key->object ? "" : "thrown"),
    ROW(space->findOrCreate_(*type, name, makeAfterOther),
        (key->object = key->object ? key->object : objects, "")),
};

std::string outcome(Action action) {
    try {
        return action();
    } catch (const RuntimeError& error) {
        return error.msg();
    }
}

std::size_t countKeys() {
    return reinterpret_cast<std::list<Vorn::NamedObjectInfo*>*>(space)->size();
}

// Types and names with the same check.
struct Bamabit {};
struct Bapabam {};

TEST(NamedObjects, BehaveLikeAMap) {
    const auto check = Vorn::CRC::CalculateCRC32ForBlock;
    ASSERT_EQ(check("Bamabit", 7), check("Bapabam", 7));
    const char* const names[] = {"", "name", "Name", "Bamabit", "Bapabam", nullptr};
    std::mt19937 random(1);
    for (int round = 0; round < 200; ++round) {
        Vorn::NamedObjectsNamespace owner("test");
        space = &owner;
        Key keys[2][6];
        for (int step = 0; step < 100; ++step) {
            const auto t = random() % 2, n = random() % 6, row = random() % 9;
            type = t ? &typeid(Bamabit) : &typeid(Bapabam), name = names[n], key = &keys[t][n];
            argument = random() % 4 ? &objects[random() % 2] : nullptr;
            const bool misused = !argument && (row == 3 || row == 4);
            const std::string expected = !name     ? "Invalid object name!"
                                         : misused ? "'object' cannot be NULL!"
                                                   : operations[row].second();
            const std::size_t known = countKeys();
            ASSERT_EQ(outcome(operations[row].first), expected);
            ASSERT_TRUE(!name || space->find_(*type, name) == key->object);
            ASSERT_LE(countKeys(), known + (row > 2 && expected.empty()));
        }
    }
}

TEST(NamedObjects, ObjectsMadeByTheRegistryStartAtZero) {
    struct Plain {
        int number;
        void* address;
    };
    const test::MemoryLedger dirtyMemory;
    Vorn::NamedObjectsNamespace registry("test");
    const std::unique_ptr<Plain> made(registry.findOrCreate<Plain>("key"));
    EXPECT_EQ(made->number, 0);
    EXPECT_EQ(made->address, nullptr);
}

// Gives other threads time to come where one is making a lock.
struct SlowThreads : test::Threads {
    Vorn::Ptr<iCriticalSection> createCriticalSection(unsigned n) override {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        return Threads::createCriticalSection(n);
    }
};

TEST(NamedObjects, ThreadsShareOneGlobalNamespace) {
    const SlowThreads threads;
    Vorn::NamedObjectsNamespace* seen[2] = {};
    {
        std::vector<std::jthread> callers;
        for (auto& instance : seen)
            callers.emplace_back([&instance] {
                instance = Vorn::NamedObjectsNamespace::getGlobalNamespaceInstance();
            });
    }
    EXPECT_NE(seen[0], nullptr);
    EXPECT_EQ(seen[0], seen[1]);
}

TEST(NamedObjects, ThreadsWaitForHeldKeysAlone) {
    const test::Threads locks;
    Vorn::NamedObjectsNamespace owner("test");
    space = &owner, type = &typeid(int), name = "held", argument = objects;
    space->lock_(*type, name, true);
    std::atomic<unsigned> done = 0;
    std::barrier together(7);
    std::vector<std::jthread> waiters;
    for (unsigned row = 1; row < 7; ++row)
        waiters.emplace_back([&, row] {
            EXPECT_FALSE(space->lock_(*type, name, false));
            EXPECT_EQ(outcome(operations[0].first), kNotLocked);
            together.arrive_and_drop();
            outcome(operations[row].first);
            ++done;
            outcome(operations[0].first);
        });
    together.arrive_and_wait();
    for (int n = 0; n < 10000; ++n)  // Time for those that do not wait.
        EXPECT_EQ(space->findOrCreate<char>("another", make), objects);
    EXPECT_EQ(done, 0u);
    space->unlock_(*type, name);
}

}  // namespace
