// What the library and its platform have agreed on: where operations stand, and what is called.

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Vorn/Vorn.h"
#include "tests/support/TestPlatform.h"

namespace {

// The positions of virtual operations, counted from the destructor, which takes two places in the
// table. A pointer to a virtual operation holds its place in bytes, on some machines plus 1.
template <class... Operation>
std::vector<std::size_t> positions(Operation... operations) {
    using Words = std::array<std::size_t, 2>;
    return {std::bit_cast<Words>(operations)[0] / sizeof(void*) - 1 ...};
}

using Positions = std::vector<std::size_t>;

TEST(Contract, OperationsKeepTheirPositions) {
    using System = iSystemServices;
    using Memory = iMemoryServices;
    using Text = iTextServices;
    using Lock = iCriticalSection;
    using Atomic = iAtomicServices;
    using Failure = Vorn::Exception::Base;
    using Numbers = Vector<int>;
    EXPECT_EQ(positions(&System::memoryServices, &System::textServices, &System::fileServices,
                        &System::threadServices, &System::atomicServices, &System::systemInfo,
                        &System::pathServices),
              (Positions{1, 2, 3, 4, 5, 8, 11}));
    EXPECT_EQ(positions(&Memory::allocate, &Memory::free, &Memory::reclaim,
                        &Memory::registerReclaimable, &Memory::unregisterReclaimable),
              (Positions{1, 3, 4, 6, 7}));
    EXPECT_EQ(positions(&iReclaimable::reclaimableBytes, &iReclaimable::reclaim,
                        &iReclaimable::reclaimAll),
              (Positions{1, 2, 3}));
    EXPECT_EQ(positions(&Text::wideFromAscii, &Text::utf8FromWide, &Text::wideFromUtf8,
                        &Text::nowMilliseconds),
              (Positions{1, 3, 4, 5}));
    EXPECT_EQ(positions(&iFileServices::openFile, &iFileServices::pathSeparator),
              (Positions{12, 33}));
    EXPECT_EQ(positions(&iFile::read, &iFile::write, &iFile::size), (Positions{1, 5, 13}));
    EXPECT_EQ(positions(&iThreadServices::createCriticalSection, &iThreadServices::currentThreadId),
              (Positions{1, 9}));
    EXPECT_EQ(positions(&Lock::enter, &Lock::tryEnter, &Lock::leave), (Positions{1, 2, 3}));
    EXPECT_EQ(positions(&Atomic::increment, &Atomic::decrement, &Atomic::compareExchangePointer),
              (Positions{1, 2, 6}));
    EXPECT_EQ(positions(&iSystemInfo::getNumProcessors), (Positions{1}));
    EXPECT_EQ(positions(&iPathServices::getFolderPath), (Positions{4}));
    EXPECT_EQ(positions(&Failure::what, &Failure::msg, &Failure::file, &Failure::line),
              (Positions{1, 2, 3, 4}));
    EXPECT_EQ(positions(&Numbers::add, &Numbers::push_back, &Numbers::locate, &Numbers::intern,
                        &Numbers::insert, &Numbers::removeIdx, &Numbers::remove,
                        &Numbers::removeItem, &Numbers::clear, &Numbers::consume),
              (Positions{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
}

// Hands out one block, or fails where it has none, and notes what it was given.
struct OneBlock : test::ForwardingMemory {
    void* allocate(std::size_t bytes) override {
        asked = bytes;
        if (!block && !failsWithNull) throw 1;
        return block;
    }
    void free(void* released) override { freed = released; }

    alignas(128) char storage[64];
    void *block = nullptr, *freed = nullptr;
    std::size_t asked = 0;
    bool failsWithNull = false;
};

// Checks a form of `new` and its `delete`, given as functions since compilers leave out pairs of
// calls that they see. The alignment is 0 where blocks come as they are; aligned ones start at the
// first multiple that leaves a word below it.
void checkForm(std::size_t alignment, bool nothrow, const std::function<void*(std::size_t)>& obtain,
               const std::function<void(void*)>& release) {
    SCOPED_TRACE("alignment " + std::to_string(alignment));
    OneBlock memory;
    const auto use = [&](std::size_t bytes) {
        const test::Override<iMemoryServices> installation(&memory);
        void* const block = obtain(bytes);
        release(block);
        return block;
    };
    for (const std::size_t offset : {0u, 4u, 8u, 12u}) {
        const std::size_t aligned =
            alignment == 0 ? offset : (offset + 7 + alignment) / alignment * alignment;
        memory.block = memory.storage + offset;
        EXPECT_EQ(use(offset), memory.storage + aligned) << "offset " << offset;
        EXPECT_EQ(memory.asked, offset + 2 * alignment);
        EXPECT_EQ(memory.freed, memory.block);
    }
    const std::size_t tooMany = SIZE_MAX - alignment;
    memory.block = nullptr;
    if (!nothrow) {
        EXPECT_DEATH(use(0), "terminate");
        EXPECT_THROW(obtain(tooMany), std::bad_alloc);
        return;
    }
    EXPECT_EQ(use(0), nullptr) << "platform throws";
    EXPECT_EQ(use(tooMany), nullptr);
    memory.failsWithNull = true;
    EXPECT_EQ(use(0), nullptr) << "platform gives null";
}

template <class... Arguments>
void checkOperators(std::size_t alignment, bool nothrow, Arguments... arguments) {
    checkForm(
        alignment, nothrow, [=](std::size_t bytes) { return ::operator new(bytes, arguments...); },
        [=](void* block) { ::operator delete(block, arguments...); });
    checkForm(
        alignment, nothrow,
        [=](std::size_t bytes) { return ::operator new[](bytes, arguments...); },
        [=](void* block) { ::operator delete[](block, arguments...); });
}

TEST(Contract, MemoryComesFromThePlatform) {
    checkOperators(0, false);
    checkOperators(0, true, std::nothrow);
    checkOperators(16, false, std::align_val_t(8));
    checkOperators(64, true, std::align_val_t(64), std::nothrow);
    checkForm(16, false, CPUAlignedNew, CPUAlignedDelete);
    EXPECT_THROW(StdAllocator<long>().allocate(SIZE_MAX / sizeof(long) + 2), std::bad_alloc);
}

struct Doubling : Vector<int> {
    unsigned add(const int& number) override { return Vector::add(2 * number); }
};

TEST(Contract, PushingBackAddsThroughTheVirtualTable) {
    Doubling numbers;
    numbers.Vector::push_back(21);
    EXPECT_EQ(numbers[0], 42);
}

// Notes a letter for each call: n new block, f block freed, + and - for the counter, l and x for an
// exchange, l where the new node leads to the old one.
struct Traced : test::ForwardingMemory, iAtomicServices {
    void* allocate(std::size_t bytes) override {
        calls += 'n';
        return next->allocate(bytes);
    }
    void free(void* block) override {
        calls += 'f';
        next->free(block);
    }
    void increment(std::int32_t* counter) override {
        calls += '+';
        ++*counter;
    }
    std::int32_t decrement(std::int32_t* counter) override {
        calls += '-';
        return --*counter;
    }
    void* compareExchangePointer(void** target, void* fresh, void* old) override {
        calls += fresh && *static_cast<void**>(fresh) == old ? 'l' : 'x';
        return std::exchange(*target, fresh);
    }

    static inline std::string calls;  // Few enough at a time that it does not allocate.
    test::Override<iMemoryServices> memory{this};
    test::Override<iAtomicServices> atomics{this};
};

std::string trace(const auto& action) {
    Traced::calls.clear();
    const Traced traced;
    action();
    return Traced::calls;
}

struct Probe {
    ~Probe() { Traced::calls += '~'; }
    std::int32_t references = 1;
};

using Handle = Vorn::Ptr<Probe>;
using Internal = Vorn::Ptr<Probe, Vorn::DtorTraits, Vorn::InternalRefCountTraits>;

TEST(Contract, HandlesCallThePlatformInOrder) {
    Probe* const objects[] = {new Probe, new Probe};
    Handle handle, copy, other(new Probe);
    EXPECT_EQ(trace([&] { handle = Handle(objects[0]); }), "n+");
    EXPECT_EQ(trace([&] { copy = handle; }), "+");
    EXPECT_EQ(**reinterpret_cast<std::int32_t**>(&copy), 2) << "the first word is the counter's";
    EXPECT_EQ(trace([&] { copy = handle; }), "++--");
    EXPECT_EQ(trace([&] { copy = std::as_const(copy); }), "");
    EXPECT_EQ(trace([&] { Handle(nullptr) = Handle(); }), "");
    EXPECT_EQ(trace([&] { Handle{copy} = Handle(); }), "+-");
    EXPECT_EQ(trace([&] { copy = std::move(handle); }), "-");
    EXPECT_EQ(trace([&] { copy = other; }), "++--f~f") << "the counter's block goes first";
    EXPECT_EQ(trace([&] { other = Handle(); }), "-");
    EXPECT_EQ(trace([&] { copy.decRef(); }), "-f~f");
    EXPECT_EQ(copy.get(), nullptr);
    Internal internal = Internal::adopt(objects[1], &objects[1]->references), second(internal);
    EXPECT_EQ(trace([&] { second = Internal(); }), "-");
    EXPECT_EQ(trace([&] { internal = Internal(); }), "-~f");
}

TEST(Contract, StacksLinkNodesBeforeTheyShow) {
    struct Node {
        Node* next = nullptr;
    } nodes[2];
    Vorn::LockFree::Stack<Node> stack;
    EXPECT_EQ(trace([&] { stack.push(&nodes[0]); }), "l+");
    EXPECT_EQ(trace([&] { stack.push(&nodes[1]); }), "l+");
    EXPECT_EQ(trace([&] { stack.pop(); }), "x-");
    EXPECT_EQ(trace([&] { stack.pop(); }), "x-");
    EXPECT_EQ(trace([&] { stack.pop(); }), "") << "empty";
}

const CriticalSection::Rep& repOf(const CriticalSection& section) {
    return *reinterpret_cast<const Vorn::Ptr<CriticalSection::Rep>&>(section);
}

TEST(Contract, LocksStartOverWithAValueForThePlatform) {
    const test::Threads threads;
    CriticalSection section(7u);
    EXPECT_EQ(threads.value, 7u);
    section.setName("name");
    section.init(8);
    EXPECT_EQ(threads.value, 8u);
    EXPECT_EQ(repOf(section).name.textAt(0), nullptr);
}

TEST(Contract, LocksKeepBookOfEntries) {
    CriticalSection section, another;
    const unsigned self = OS()->threadServices()->currentThreadId();
    const auto expectHeld = [&](unsigned depth) {
        SCOPED_TRACE("entries: " + std::to_string(depth));
        EXPECT_EQ(repOf(section).count, depth);
        EXPECT_EQ(section.owner(), depth > 0 ? self : 0);
        std::jthread([&] {
            const int answer = section.attemptEntry();
            EXPECT_EQ(answer, depth > 0 ? -1 : 0) << "on another thread";
            if (answer == 0) section.leave();
        });
    };
    {
        const std::scoped_lock guards(section, another);
        expectHeld(1);
        EXPECT_TRUE(section.try_lock());
        expectHeld(2);
        {
            const EasyCrit once(section);
            expectHeld(3);
        }
        section.leave();
        expectHeld(1);
    }
    expectHeld(0);
}

}  // namespace
