// What the diagnostics of a pool add to a pop and a push, beside two readings of the clock and
// beside their floor: those readings and the three counts, by way of the platform.

#include <benchmark/benchmark.h>

#include <chrono>
#include <thread>

#include "Vorn/PooledObjectDebug.h"
#include "Vorn/Time.h"
#include "platform/OS.h"
#include "platform/iAtomicServices.h"

namespace {

using Clock = std::chrono::steady_clock;
using Pool = Vorn::PooledObjectDebug::LoggingTraitsBase;

// One pool for each thread, made one after the other as a program makes them. Returns when rates
// are measured, 7.5 seconds into their life.
Pool& warmPool(int thread) {
    static Pool pools[] = {Pool("one"), Pool("two"), Pool("three"), Pool("four")};
    static const bool warm = (std::this_thread::sleep_for(std::chrono::milliseconds(7600)), true);
    benchmark::DoNotOptimize(warm);
    return pools[thread];
}

void popAndPush(benchmark::State& state) {
    Pool& pool = warmPool(state.thread_index());
    for (auto _ : state) {
        pool.ltb_beforePop(0);
        pool.ltb_afterPop(nullptr, 0);
        pool.ltb_beforePush(nullptr, 0);
        pool.ltb_afterPush(nullptr, 0);
    }
}
BENCHMARK(popAndPush)->Threads(1)->Threads(4);

void readClockTwice(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(Clock::now());
        benchmark::DoNotOptimize(Clock::now());
    }
}
BENCHMARK(readClockTwice)->Threads(1)->Threads(4);

void countAndReadClock(benchmark::State& state) {
    std::int32_t inUse = 0, allocations = 0;
    for (auto _ : state) {
        OS()->atomicServices()->increment(&inUse);
        benchmark::DoNotOptimize(Vorn::now());
        benchmark::DoNotOptimize(Vorn::now());
        OS()->atomicServices()->increment(&allocations);
        OS()->atomicServices()->decrement(&inUse);
    }
}
BENCHMARK(countAndReadClock)->Threads(1)->Threads(4);

}  // namespace
