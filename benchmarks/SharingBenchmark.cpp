// What handles, locks, blocks and named objects cost: ours beside the standard library's.

#include <benchmark/benchmark.h>

#include <memory>
#include <mutex>
#include <string>

#include "Vorn/CriticalSection.h"
#include "Vorn/Ptr.h"
#include "Vorn/VornNamedObjects.h"

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

// On two threads, since the standard library counts without atomics while there is only one.
template <class Handle>
void copyHandle(benchmark::State& state) {
    const Handle handle(new int(1));
    for (auto _ : state) {
        Handle copy(handle);
        benchmark::DoNotOptimize(copy);
    }
}
BENCHMARK_TEMPLATE(copyHandle, Vorn::Ptr<int>)->Threads(2);
BENCHMARK_TEMPLATE(copyHandle, std::shared_ptr<int>)->Threads(2);

struct Ours {
    void lock() { section.enter(); }
    void unlock() { section.leave(); }
    CriticalSection section;
};

template <class Lock>
void enterAndLeave(benchmark::State& state) {
    static Lock lock;
    for (auto _ : state) {
        const std::lock_guard guard(lock);
        benchmark::ClobberMemory();
    }
}
BENCHMARK_TEMPLATE(enterAndLeave, Ours)->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK_TEMPLATE(enterAndLeave, std::recursive_mutex)->Threads(1)->Threads(2)->UseRealTime();

void newAndDelete(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0));
    for (auto _ : state) {
        void* const block = ::operator new(size);
        benchmark::DoNotOptimize(block);
        ::operator delete(block);
    }
}
BENCHMARK(newAndDelete)->Arg(16)->Arg(1000)->Arg(100000);

// Linear in the number of keys.
void findNamedObject(benchmark::State& state) {
    Vorn::NamedObjectsNamespace space("benchmark");
    int object = 0;
    for (auto n = state.range(0); n > 0; --n) space.create(std::to_string(n).c_str(), &object);
    for (auto _ : state) benchmark::DoNotOptimize(space.find<int>("1"));
}
BENCHMARK(findNamedObject)->Arg(10)->Arg(1000);

}  // namespace
