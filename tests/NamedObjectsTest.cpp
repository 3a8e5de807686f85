#include "Vorn/VornNamedObjects.h"

#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <deque>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "Vorn/CRC.h"
#include "Vorn/Exception.h"
#include "tests/support/TestPlatform.h"

namespace {

using Vorn::Exception::RuntimeError;
using Namespace = Vorn::NamedObjectsNamespace;

// The arguments of the next call, and what its key should come to.
Namespace* space;
const std::type_info* type;
const char* name;
char* argument;
struct Key {
    char* object = nullptr;
    unsigned depth = 0;
    bool known = false;
} * key;

char objects[][2] = {"A", "B", "C"};

std::string textOf(const void* o) {
    return o ? static_cast<const char*>(o) : "null";
}

using Action = std::string (*)();
#define ACTION(...) []() -> std::string { return __VA_ARGS__; }
#define ROW(real, model) std::pair<Action, Action>(ACTION(real), ACTION(model))
#define FIND_OR_CREATE(model, ...)                                                 \
    ROW(textOf(space->findOrCreate_(*type, name, []() -> void* { __VA_ARGS__; })), \
        key->object ? key->object : textOf(model))

constexpr char kDuplicate[] = "Attempted to create named objects with duplicate names!";
constexpr char kNotLocked[] =
    "Attempted to unlock a named object that had not previously been locked!";

// Operations, and what they do to the key. The first three add none, the next two need an object,
// the last two have factories that use their own key.
const std::pair<Action, Action> operations[] = {
    ROW((space->unlock_(*type, name), ""), key->depth ? (--key->depth, "") : kNotLocked),
    ROW(textOf(space->find_(*type, name)), textOf(key->object)),
    ROW((space->remove_(*type, name), ""), (key->object = nullptr, "")),
    ROW((space->create_(*type, name, argument), ""),
        key->object ? kDuplicate : (key->object = argument, "")),
    ROW((space->createOrReplace_(*type, name, argument), ""), (key->object = argument, "")),
    ROW(space->lock_(*type, name, true) ? "" : "busy", (++key->depth, "")),
    ROW(space->lock_(*type, name, false) ? "" : "busy", (++key->depth, "")),
    FIND_OR_CREATE(key->object = argument, return argument),
    FIND_OR_CREATE("thrown", throw RuntimeError("thrown", "Vorn/VornNamedObjects", 1)),
    FIND_OR_CREATE(key->object = objects[0], space->create_(*type, name, objects[0]);
                   return objects[1]),
    FIND_OR_CREATE((++key->depth, key->object = objects[1]), space->lock_(*type, name, true);
                   return objects[1]),
};

std::string outcome(Action action) {
    try {
        return action();
    } catch (const RuntimeError& error) {
        const test::Unledgered unledgered;
        EXPECT_TRUE(textOf(error.what()) == "RuntimeError" && error.line() > 0);
        EXPECT_STREQ(error.file(), "Vorn/VornNamedObjects");
        return error.msg();
    } catch (const std::bad_alloc&) {
        return "refused";
    }
}

// What another thread has not locked it cannot unlock.
void lockElsewhere() {
    const bool locked = space->lock_(*type, name, false);
    EXPECT_EQ(locked, key->depth == 0);
    if (locked) space->unlock_(*type, name);
    EXPECT_THROW(space->unlock_(*type, name), RuntimeError);
}

const std::list<Vorn::NamedObjectInfo*>& entriesOf(const Namespace& s) {
    return reinterpret_cast<const std::list<Vorn::NamedObjectInfo*>&>(s);
}

unsigned check(const std::string& s) {
    return Vorn::CRC::CalculateCRC32ForBlock(s.data(), s.size());
}

// Types whose names have the same check.
struct Bamabit {};
struct Bapabam {};

// Before it is done, an operation may have one of its allocations refused.
TEST(NamedObjects, BehaveLikeAMapAndSurviveRefusals) {
    const std::type_info* const types[] = {&typeid(Bamabit), &typeid(Bapabam), &typeid(int)};
    const std::string longName(9999, 'x');
    const char* const names[] = {"",        "name",           "Name", "Bamabit",
                                 "Bapabam", longName.c_str(), nullptr};
    ASSERT_EQ(check(names[3]), check(names[4]));
    ASSERT_EQ(check(types[0]->name()), check(types[1]->name()));
    std::mt19937 random(1);
    for (int round = 0; round < 60; ++round) {
        test::MemoryLedger ledger;
        auto owner = std::make_unique<Namespace>("test");
        space = owner.get();
        Key keys[3][7];
        const auto& entries = entriesOf(*space);
        for (int step = 0; step < 100; ++step) {
            const auto t = random() % 3, n = random() % 7, row = random() % std::size(operations);
            type = types[t], name = names[n], key = &keys[t][n];
            argument = random() % 4 ? objects[random() % 3] : nullptr;
            const bool misused = !name || (!argument && (row == 3 || row == 4));
            const std::string expected = !misused ? operations[row].second()
                                         : name   ? "'object' cannot be NULL!"
                                                  : "Invalid object name!";
            const std::size_t known = entries.size();
            const bool adds = row > 2 && !key->known && expected.size() < 5;

            ledger.failAt(random() % 12);
            std::string result = outcome(operations[row].first);
            ledger.failAt(0);
            if (result == "refused") {
                ASSERT_TRUE(!key->known && entries.size() == known);
                result = outcome(operations[row].first);
            }
            ASSERT_EQ(result, expected);
            ASSERT_EQ(entries.size(), known + adds);
            if (adds) {
                const Vorn::NamedObjectInfo& info = *entries.back();
                ASSERT_EQ(&info, space->findInfo_(*type, name));
                ASSERT_TRUE(info.typeNameCrc == check(type->name()) &&
                            info.objectNameCrc == check(name));
                key->known = true;
            }
            if (key->known) std::thread(lockElsewhere).join();
        }
        owner.reset();
        ASSERT_EQ(ledger.live(), 0u);
    }
}

struct YieldingMemory : test::MemoryLedger {
    void* allocate(std::size_t bytes) override {
        std::this_thread::yield();
        return MemoryLedger::allocate(bytes);
    }
};

// Eight threads meet at fresh keys, while all that can wait for a held key does.
TEST(NamedObjects, ThreadsShareKeysAndWaitForNoOthers) {
    using Asked = std::atomic<unsigned>;
    static Asked made[80000], calls, done;
    for (Asked& count : made) count = 0;
    calls = done = 0;
    const YieldingMemory memory;
    std::deque<Namespace> spaces;
    while (spaces.size() < 100) spaces.emplace_back("test");
    space = &spaces[0], type = &typeid(char), name = "held", argument = objects[0];
    space->lock_(*type, name, true);
    std::vector<std::jthread> waiters, threads;
    for (const unsigned row : {1u, 2u, 3u, 4u, 5u, 7u})
        waiters.emplace_back([row] {
            outcome(operations[row].first);
            ++done;
            outcome(operations[0].first);
        });
    std::barrier together(8);
    const auto meet = [&](Namespace*& global) {
        together.arrive_and_wait();
        global = Namespace::getGlobalNamespaceInstance();
        for (unsigned n = 0; n < 10000; ++n) {
            if (n % 100 == 0) together.arrive_and_wait();
            Namespace& s = spaces[n / 100];
            const std::string text = std::to_string(n);
            const char* const fresh = text.c_str();
            char own;
            ++*s.findOrCreate<Asked>(fresh, []() -> void* { return &made[calls++]; });
            s.createOrReplace(fresh, &own);
            s.lock<char>(fresh);
            s.remove<char>(fresh);
            s.create(fresh, &own);
            EXPECT_EQ(s.find<char>(fresh), &own);
            s.unlock<char>(fresh);
        }
    };
    Namespace* globals[8];
    for (Namespace*& global : globals) threads.emplace_back(meet, std::ref(global));
    threads.clear();
    EXPECT_EQ(calls, 10000u);
    for (unsigned n = 0; n < calls; ++n) ASSERT_EQ(made[n], 8u);
    for (const Namespace& s : spaces) EXPECT_EQ(entriesOf(s).size(), &s == space ? 201u : 200u);
    EXPECT_EQ(done, 0u);
    space->unlock_(*type, name);
    waiters.clear();
    EXPECT_EQ(done, 6u);
    const test::MemoryLedger ledger;
    for (Namespace* const g : globals) EXPECT_EQ(g, Namespace::getGlobalNamespaceInstance());
    EXPECT_EQ(ledger.allocations(), 0u);
    EXPECT_STREQ(reinterpret_cast<const String*>(globals[0])[5], "GLOBAL");
}

}  // namespace
