// What the library and its platform have agreed on: where operations stand, and what is called.

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstdint>
#include <functional>
#include <thread>
#include <utility>

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

TEST(Contract, OperationsKeepTheirPositions) {
    using S = iSystemServices;
    using M = iMemoryServices;
    using T = iTextServices;
    using E = Vorn::Exception::Base;
    using V = Vector<int>;
    const auto found = positions(
        &S::memoryServices, &S::textServices, &S::fileServices, &S::threadServices,
        &S::atomicServices, &S::systemInfo, &S::pathServices, &M::allocate, &M::free, &M::reclaim,
        &M::registerReclaimable, &M::unregisterReclaimable, &T::wideFromAscii, &T::utf8FromWide,
        &T::wideFromUtf8, &T::nowMilliseconds, &iFileServices::openFile,
        &iFileServices::pathSeparator, &iFile::read, &iFile::write, &iFile::size,
        &iThreadServices::createCriticalSection, &iThreadServices::currentThreadId,
        &iCriticalSection::enter, &iCriticalSection::tryEnter, &iCriticalSection::leave,
        &iAtomicServices::increment, &iAtomicServices::decrement,
        &iAtomicServices::compareExchangePointer, &iSystemInfo::getNumProcessors,
        &iPathServices::getFolderPath, &iReclaimable::reclaimableBytes, &iReclaimable::reclaim,
        &iReclaimable::reclaimAll, &E::what, &E::msg, &E::file, &E::line, &V::add, &V::push_back,
        &V::locate, &V::intern, &V::insert, &V::removeIdx, &V::remove, &V::removeItem, &V::clear,
        &V::consume);
    EXPECT_EQ(found,
              (std::vector<std::size_t>{1,  2,  3, 4, 5,  8, 11, 1, 3, 4, 6, 7, 1, 3, 4, 5,
                                        12, 33, 1, 5, 13, 1, 9,  1, 2, 3, 1, 2, 6, 1, 4, 1,
                                        2,  3,  1, 2, 3,  4, 1,  2, 3, 4, 5, 6, 7, 8, 9, 10}));
}

// Hands out one block, or fails where it has none, and notes what it was given.
struct OneBlock : test::ForwardingMemory {
    void* allocate(std::size_t bytes) override {
        return asked = bytes, block || quiet ? block : throw 1;
    }
    void free(void* released) override { freed = released; }

    alignas(128) char storage[64];
    void *block = storage, *freed = nullptr;
    std::size_t asked = 0;
    bool quiet = false;  // Whether it fails with null.
};

// Blocks aligned to a `unit` above 0 start at the first multiple that leaves a word below it. The
// functions are for the compiler, which knows what operators do and leaves calls of them out.
void check(std::size_t unit, bool nothrow, const std::function<void*(std::size_t)>& obtain,
           const std::function<void(void*)>& release) {
    OneBlock memory;
    using Guard = test::Override<iMemoryServices>;
    for (const std::size_t offset : {0u, 4u, 8u, 12u}) {
        memory.block = memory.storage + offset;
        void* const block = (Guard(&memory), obtain(offset));
        (Guard(&memory), release(block));
        EXPECT_EQ(block, memory.storage + (unit ? (offset + 7 + unit) / unit * unit : offset));
        EXPECT_TRUE(memory.asked == offset + 2 * unit && memory.freed == memory.block);
    }
    memory.block = nullptr;
    for (const bool quiet : {nothrow, false}) {
        memory.quiet = quiet;
        EXPECT_TRUE(!nothrow || (Guard(&memory), !obtain(0) && !obtain(SIZE_MAX - unit)));
    }
    if (nothrow) return;
    EXPECT_DEATH((Guard(&memory), obtain(0)), "terminate");
    EXPECT_THROW(obtain(SIZE_MAX - unit), std::bad_alloc);
}

template <class... Arguments>
void checkOperators(std::size_t unit, bool nothrow, Arguments... arguments) {
    const auto one = [=](std::size_t n) { return ::operator new(n, arguments...); };
    const auto array = [=](std::size_t n) { return ::operator new[](n, arguments...); };
    check(unit, nothrow, one, [=](void* p) { ::operator delete(p, arguments...); });
    check(unit, nothrow, array, [=](void* p) { ::operator delete[](p, arguments...); });
}

TEST(Contract, MemoryComesFromThePlatform) {
    checkOperators(0, false);
    checkOperators(0, true, std::nothrow);
    checkOperators(16, false, std::align_val_t(8));
    checkOperators(64, true, std::align_val_t(64), std::nothrow);
    check(16, false, CPUAlignedNew, CPUAlignedDelete);
}

TEST(Contract, CountsThatWrapAreRefused) {
    EXPECT_THROW(StdAllocator<long>().allocate(SIZE_MAX / sizeof(long) + 2), std::bad_alloc);
}

struct Doubling : Vector<int> {
    unsigned add(const int& number) override { return Vector::add(2 * number); }
};

TEST(Contract, PushingBackAddsThroughTheVirtualTable) {
    Doubling numbers;
    Vector<int>& base = numbers;
    base.push_back(21);
    EXPECT_EQ(numbers[0], 42);
}

// A letter for each call: n new block, + and - for the counter, f block freed, l and x for an
// exchange, l where the new node leads to the old one, and ~ for the object's destructor. Few
// enough at a time that the string does not allocate.
std::string calls;

struct Traced : test::ForwardingMemory, iAtomicServices {
    void* allocate(std::size_t bytes) override { return calls += 'n', next->allocate(bytes); }
    void free(void* block) override { calls += 'f', next->free(block); }
    void increment(std::int32_t* n) override { calls += '+', ++*n; }
    std::int32_t decrement(std::int32_t* n) override { return calls += '-', --*n; }
    void* compareExchangePointer(void** target, void* fresh, void* old) override {
        calls += fresh && *static_cast<void**>(fresh) == old ? 'l' : 'x';
        return std::exchange(*target, fresh);
    }

    test::Override<iMemoryServices> memory{this};
    test::Override<iAtomicServices> atomics{this};
};

std::string trace(const auto& action) {
    calls.clear();
    const Traced traced;
    action();
    return calls;
}

struct Probe {
    ~Probe() { calls += '~'; }
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
    EXPECT_EQ(trace([&] { copy = std::as_const(copy), Handle(nullptr) = Handle(); }), "");
    EXPECT_EQ(trace([&] { Handle{copy} = Handle(); }), "+-");
    EXPECT_EQ(trace([&] { copy = std::move(handle); }), "-");
    EXPECT_EQ(trace([&] { copy = other; }), "++--f~f") << "the counter's block goes first";
    EXPECT_EQ(trace([&] { other = Handle(), copy.decRef(); }), "--f~f");
    EXPECT_EQ(copy.get(), nullptr);
    Internal internal = Internal::adopt(objects[1], &objects[1]->references), second(internal);
    EXPECT_EQ(trace([&] { second = Internal(), internal = Internal(); }), "--~f");
}

TEST(Contract, StacksLinkNodesBeforeTheyShow) {
    struct Node {
        Node* next = nullptr;
    } nodes[2];
    Vorn::LockFree::Stack<Node> stack;
    EXPECT_EQ(trace([&] { stack.push(&nodes[0]), stack.push(&nodes[1]); }), "l+l+");
    EXPECT_EQ(trace([&] { stack.pop(), stack.pop(), stack.pop(); }), "x-x-");
}

TEST(Contract, LocksKeepBookOfEntries) {
    const test::Threads threads;
    CriticalSection section(7u);
    EXPECT_EQ(threads.value, 7u);
    section.setName("name");
    section.init(8);
    const auto& rep = **reinterpret_cast<Vorn::Ptr<CriticalSection::Rep>*>(&section);
    EXPECT_TRUE(threads.value == 8 && !rep.name.textAt(0));
    const unsigned self = OS()->threadServices()->currentThreadId();
    for (unsigned depth = 0; const char step : {'e', 'a', 'e', 'l', 'a', 'l', 'l', 'l'}) {
        if (step == 'e') section.enter();
        EXPECT_EQ(step == 'a' ? section.attemptEntry() : 0, 0);
        if (step == 'l') section.leave();
        depth += step == 'l' ? -1u : 1u;
        EXPECT_TRUE(rep.count == depth && section.owner() == (depth > 0 ? self : 0));
        EXPECT_EQ((EasyCrit(section), rep.count), depth + 1);
        std::jthread([&] { EXPECT_EQ(section.attemptEntry(), depth > 0 ? -1 : 0); });
    }
}

}  // namespace
