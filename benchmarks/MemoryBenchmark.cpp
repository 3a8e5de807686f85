// What blocks from the global operators cost, whoever defines them in the program.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <new>
#include <semaphore>
#include <thread>
#include <vector>

namespace {

// Calls the operator itself, which no compiler may leave out.
void* allocate(std::size_t size) {
    void* const block = ::operator new(size);
    benchmark::DoNotOptimize(block);
    return block;
}

void pair(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0));
    for (auto _ : state) ::operator delete(allocate(size));
}
BENCHMARK(pair)->Arg(16)->Arg(64)->Arg(1000);

// Replaces one of many living blocks by one of another size: mostly small, up to 4 KB.
void churn(benchmark::State& state) {
    std::vector<void*> blocks(10'000);
    std::uint64_t random = 1;
    for (auto _ : state) {
        random = random * 6364136223846793005u + 1442695040888963407u;
        void*& block = blocks[(random >> 32) % blocks.size()];
        ::operator delete(block);
        block = allocate((random >> 58 | 1) << (random >> 24) % 7);
    }
    for (void* const block : blocks) ::operator delete(block);
}
BENCHMARK(churn);

// So many blocks at a time that handing them over is a small part.
void freedElsewhere(benchmark::State& state) {
    std::vector<void*> blocks(8192);
    std::binary_semaphore given(0), freed(0);
    std::jthread releaser([&](const std::stop_token& stop) {
        for (given.acquire(); !stop.stop_requested(); given.acquire()) {
            for (void* const block : blocks) ::operator delete(block);
            freed.release();
        }
    });
    for (auto _ : state) {
        for (void*& block : blocks) block = allocate(64);
        given.release();
        freed.acquire();
    }
    releaser.request_stop();
    given.release();
}
BENCHMARK(freedElsewhere)->MeasureProcessCPUTime();

}  // namespace
