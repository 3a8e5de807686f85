#include "Vorn/Ptr.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/TestPlatform.h"

namespace {

// A letter for each call: n new block, + and - for the counter, f block freed, and ~ for the
// object's destructor. Few enough at a time that the string does not allocate.
std::string calls;

struct TracedMemory : test::ForwardingMemory {
    void* allocate(std::size_t bytes) override { return calls += 'n', next->allocate(bytes); }
    void free(void* block) override { calls += 'f', next->free(block); }
} memory;

struct TracedAtomics : test::ForwardingAtomics {
    void increment(std::int32_t* n) override { calls += '+', next->increment(n); }
    std::int32_t decrement(std::int32_t* n) override { return calls += '-', next->decrement(n); }
} atomics;

template <class Action>
std::string trace(Action action) {
    calls.clear();
    const test::Override<iMemoryServices> tracedMemory(&memory);
    const test::Override<iAtomicServices> tracedAtomics(&atomics);
    action();
    return calls;
}

struct Probe {
    ~Probe() { calls += '~'; }
    std::int32_t references = 1;
};

using Handle = Vorn::Ptr<Probe>;
using Internal = Vorn::Ptr<Probe, Vorn::DtorTraits, Vorn::InternalRefCountTraits>;

TEST(Ptr, CallsThePlatformInOrder) {
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

}  // namespace
