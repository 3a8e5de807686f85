#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <chrono>
#include <future>
#include <list>
#include <map>
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

char first, second;  // Objects to register.

constexpr char kNotLocked[] =
    "Attempted to unlock a named object that had not previously been locked!";

enum Operation { kUnlock, kFind, kRemove, kCreate, kCreateOrReplace, kLock, kFindOrCreate };
constexpr std::size_t kOperations = 7;
enum class Factory { returns, throws, registersOther, locksItsKey };

// One use of a key.
struct Use {
    Operation operation;
    const std::type_info* type;
    const char* name;
    void* object;
    Factory factory;
};

// Returns the message that the use fails with.
std::string apply(const Use& use, Vorn::NamedObjectsNamespace& space) {
    static const Use* running;  // Here, since factories have no arguments.
    static Vorn::NamedObjectsNamespace* used;
    static bool called;
    const auto make = []() -> void* {
        EXPECT_FALSE(std::exchange(called, true)) << "once for each use";
        if (running->factory == Factory::throws) throw RuntimeError("thrown", "", 1);
        if (running->factory == Factory::registersOther)
            used->create_(*running->type, running->name, &first);
        if (running->factory == Factory::locksItsKey) {
            used->lock_(*running->type, running->name, true);
            used->unlock_(*running->type, running->name);
        }
        return running->object;
    };
    try {
        const auto& [operation, type, name, object, factory] = use;
        if (operation == kUnlock) space.unlock_(*type, name);
        if (operation == kFind) space.find_(*type, name);
        if (operation == kRemove) space.remove_(*type, name);
        if (operation == kCreate) space.create_(*type, name, object);
        if (operation == kCreateOrReplace) space.createOrReplace_(*type, name, object);
        if (operation == kLock) space.lock_(*type, name, true);
        if (operation == kFindOrCreate) {
            running = &use;
            used = &space;
            called = false;
            space.findOrCreate_(*type, name, make);
        }
        return "";
    } catch (const RuntimeError& error) {
        return error.msg();
    }
}

// What a key should come to: its object, and how often it is locked.
struct KeyModel {
    // Returns the message that the use fails with.
    std::string apply(const Use& use) {
        const bool registers = use.operation == kCreate || use.operation == kCreateOrReplace;
        const bool makes = use.operation == kFindOrCreate && !object;
        if (!use.name) return "Invalid object name!";
        if (registers && !use.object) return "'object' cannot be NULL!";
        if (use.operation == kCreate && object)
            return "Attempted to create named objects with duplicate names!";
        if (use.operation == kUnlock && depth == 0) return kNotLocked;
        if (makes && use.factory == Factory::throws) return "thrown";
        if (use.operation == kUnlock) --depth;
        if (use.operation == kLock) ++depth;
        if (use.operation == kRemove) object = nullptr;
        if (registers || makes) object = use.object;
        if (makes && use.factory == Factory::registersOther) object = &first;
        return "";
    }

    void* object = nullptr;
    unsigned depth = 0;
};

// Types and names with the same check.
struct Bamabit {};
struct Bapabam {};

Use chooseUse(std::mt19937& random) {
    const std::type_info* const types[] = {&typeid(Bamabit), &typeid(Bapabam)};
    const char* const names[] = {"", "name", "Name", "Bamabit", "Bapabam", nullptr};
    void* const objects[] = {&first, &second, &first, nullptr};
    return {Operation(random() % kOperations), types[random() % 2], names[random() % 6],
            objects[random() % 4], Factory(random() % 4)};
}

TEST(NamedObjects, BehaveLikeAMap) {
    const auto check = Vorn::CRC::CalculateCRC32ForBlock;
    ASSERT_EQ(check("Bamabit", 7), check("Bapabam", 7));
    std::mt19937 random(1);
    for (int round = 0; round < 200; ++round) {
        Vorn::NamedObjectsNamespace space("test");
        const auto& keys = reinterpret_cast<const std::list<Vorn::NamedObjectInfo*>&>(space);
        std::map<std::pair<const std::type_info*, std::string>, KeyModel> models;
        for (int step = 0; step < 100; ++step) {
            const Use use = chooseUse(random);
            const std::string name = use.name ? use.name : "(null)";
            SCOPED_TRACE("operation " + std::to_string(use.operation) + " of " + use.type->name() +
                         ' ' + name + ", step " + std::to_string(step));
            KeyModel& model = models[{use.type, name}];
            const std::size_t keysBefore = keys.size();
            const std::string expected = model.apply(use);
            const bool mayAdd = use.operation >= kCreate && expected.empty();
            ASSERT_EQ(apply(use, space), expected);
            if (use.name) {
                ASSERT_EQ(space.find_(*use.type, use.name), model.object);
            }
            ASSERT_LE(keys.size(), keysBefore + mayAdd);
        }
    }
}

TEST(NamedObjects, ObjectsMadeByTheRegistryStartAtZero) {
    const test::MemoryLedger dirtyMemory;
    Vorn::NamedObjectsNamespace registry("test");
    const std::unique_ptr<int> made(registry.findOrCreate<int>("key"));
    EXPECT_EQ(*made, 0);
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
    const auto getInstance = Vorn::NamedObjectsNamespace::getGlobalNamespaceInstance;
    auto one = std::async(std::launch::async, getInstance);
    auto other = std::async(std::launch::async, getInstance);
    EXPECT_EQ(one.get(), other.get());
}

TEST(NamedObjects, ThreadsWaitForHeldKeysAlone) {
    const test::Threads locks;
    Vorn::NamedObjectsNamespace space("test");
    space.lock<int>("held");
    std::atomic<unsigned> done = 0;
    std::barrier together(kOperations);
    std::vector<std::jthread> waiters;
    for (std::size_t waiting = 1; waiting < kOperations; ++waiting)
        waiters.emplace_back([&, waiting] {
            const Use unlock{kUnlock, &typeid(int), "held", nullptr, {}};
            const Use use{Operation(waiting), &typeid(int), "held", &first, {}};
            EXPECT_FALSE(space.lock<int>("held", false));
            EXPECT_EQ(apply(unlock, space), kNotLocked);
            together.arrive_and_drop();
            apply(use, space);
            ++done;
            apply(unlock, space);
        });
    together.arrive_and_wait();
    for (int uses = 0; uses < 10000; ++uses)  // Time for those that do not wait.
        EXPECT_EQ(space.findOrCreate<char>("another", []() -> void* { return &second; }), &second);
    EXPECT_EQ(done, 0u);
    space.unlock<int>("held");
}

}  // namespace
