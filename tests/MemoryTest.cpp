#include "Vorn/Memory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <new>

#include "tests/support/TestPlatform.h"

namespace {

// Hands out one block, or fails where it has none, and notes what it was given.
struct OneBlock : test::ForwardingMemory {
    void* allocate(std::size_t bytes) override { return asked = bytes, block ? block : throw 1; }
    void free(void* released) override { freed = released; }

    alignas(128) char storage[64];
    void *block = storage, *freed = nullptr;
    std::size_t asked = 0;
};

// Blocks aligned to a `unit` above 0 start at the first multiple that leaves a word below it. The
// functions are for the compiler, which knows what operators do and leaves calls of them out.
void check(std::size_t unit, bool nothrow, const std::function<void*(std::size_t)>& obtain,
           const std::function<void(void*)>& release) {
    OneBlock memory;
    const auto run = [&](std::size_t bytes) {
        const test::Override<iMemoryServices> guard(&memory);
        void* const block = obtain(bytes);
        return release(block), block;
    };
    for (const std::size_t offset : {0u, 4u, 8u, 12u}) {
        memory.block = memory.storage + offset;
        EXPECT_EQ(run(offset),
                  memory.storage + (unit ? (offset + 7 + unit) / unit * unit : offset));
        EXPECT_TRUE(memory.asked == offset + 2 * unit && memory.freed == memory.block);
    }
    memory.block = nullptr;
    EXPECT_TRUE(!nothrow || (!run(0) && !obtain(SIZE_MAX - unit)));
    if (!nothrow) {
        EXPECT_DEATH(run(0), "terminate");
        EXPECT_THROW(obtain(SIZE_MAX - unit), std::bad_alloc);
    }
}

template <class... Arguments>
void checkOperators(std::size_t unit, bool nothrow, Arguments... arguments) {
    const auto one = [=](std::size_t n) { return ::operator new(n, arguments...); };
    const auto array = [=](std::size_t n) { return ::operator new[](n, arguments...); };
    check(unit, nothrow, one, [=](void* p) { ::operator delete(p, arguments...); });
    check(unit, nothrow, array, [=](void* p) { ::operator delete[](p, arguments...); });
}

TEST(Memory, IsRoutedToThePlatform) {
    checkOperators(0, false);
    checkOperators(0, true, std::nothrow);
    checkOperators(16, false, std::align_val_t(8));
    checkOperators(64, true, std::align_val_t(64), std::nothrow);
    check(16, false, CPUAlignedNew, CPUAlignedDelete);
}

}  // namespace
