// What handles and locks cost, beside the standard library's and beside their floor: the calls that
// the platform's contract asks for, made bare.

#include <benchmark/benchmark.h>

#include <memory>
#include <mutex>

#include "Vorn/CriticalSection.h"
#include "Vorn/Ptr.h"
#include "platform/OS.h"
#include "platform/iAtomicServices.h"
#include "platform/iCriticalSection.h"
#include "platform/iThreadServices.h"

namespace {

void countUpAndDown(std::int32_t& count) {
    OS()->atomicServices()->increment(&count);
    benchmark::DoNotOptimize(OS()->atomicServices()->decrement(&count));
}

template <class Handle>
void constructHandle(benchmark::State& state) {
    for (auto _ : state) {
        Handle handle(new int(1));
        benchmark::DoNotOptimize(handle);
    }
}
BENCHMARK_TEMPLATE(constructHandle, Vorn::Ptr<int>);
BENCHMARK_TEMPLATE(constructHandle, std::shared_ptr<int>);

void constructFloor(benchmark::State& state) {
    for (auto _ : state) {
        void* const object = ::operator new(sizeof(int));
        auto* const count = new (::operator new(sizeof(std::int32_t))) std::int32_t(0);
        benchmark::DoNotOptimize(object);
        countUpAndDown(*count);
        ::operator delete(count);
        ::operator delete(object);
    }
}
BENCHMARK(constructFloor)->Name("constructHandle<floor>");

template <class Handle>
void copyHandle(benchmark::State& state) {
    const Handle handle(new int(1));
    for (auto _ : state) {
        Handle copy(handle);
        benchmark::DoNotOptimize(copy);
    }
}
BENCHMARK_TEMPLATE(copyHandle, Vorn::Ptr<int>);
BENCHMARK_TEMPLATE(copyHandle, std::shared_ptr<int>);

void copyFloor(benchmark::State& state) {
    std::int32_t count = 1;
    for (auto _ : state) countUpAndDown(count);
}
BENCHMARK(copyFloor)->Name("copyHandle<floor>");

struct Ours {
    void lock() { section.enter(); }
    void unlock() { section.leave(); }
    CriticalSection section;
};

struct Floor {
    void lock() {
        bare->enter();
        benchmark::DoNotOptimize(OS()->threadServices()->currentThreadId());
    }
    void unlock() { bare->leave(); }
    Vorn::Ptr<iCriticalSection> bare = OS()->threadServices()->createCriticalSection(0);
};

// Once more by its holder, whose identity is known.
struct HeldFloor : Floor {
    void lock() { bare->enter(); }
};

template <class Lock>
void lock(benchmark::State& state) {
    static Lock shared;
    for (auto _ : state) {
        const std::lock_guard guard(shared);
        benchmark::ClobberMemory();
    }
}
BENCHMARK_TEMPLATE(lock, Ours);
BENCHMARK_TEMPLATE(lock, std::recursive_mutex);
BENCHMARK_TEMPLATE(lock, Floor);
BENCHMARK_TEMPLATE(lock, Ours)->Threads(2)->UseRealTime();
BENCHMARK_TEMPLATE(lock, std::recursive_mutex)->Threads(2)->UseRealTime();

template <class Lock>
void lockHeld(benchmark::State& state) {
    Lock held;
    const std::lock_guard outer(held);
    for (auto _ : state) {
        const std::lock_guard guard(held);
        benchmark::ClobberMemory();
    }
}
BENCHMARK_TEMPLATE(lockHeld, Ours);
BENCHMARK_TEMPLATE(lockHeld, std::recursive_mutex);
BENCHMARK_TEMPLATE(lockHeld, HeldFloor);

}  // namespace
