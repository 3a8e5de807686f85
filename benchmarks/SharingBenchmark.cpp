// What handles and locks cost, beside the standard library's.

#include <benchmark/benchmark.h>

#include <memory>
#include <mutex>

#include "Vorn/CriticalSection.h"
#include "Vorn/Ptr.h"

namespace {

template <class Handle>
void constructHandle(benchmark::State& state) {
    for (auto _ : state) {
        Handle handle(new int(1));
        benchmark::DoNotOptimize(handle);
    }
}
BENCHMARK_TEMPLATE(constructHandle, Vorn::Ptr<int>);
BENCHMARK_TEMPLATE(constructHandle, std::shared_ptr<int>);

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

struct Ours {
    void lock() { section.enter(); }
    void unlock() { section.leave(); }
    CriticalSection section;
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

}  // namespace
