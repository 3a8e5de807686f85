// What the check of a block costs, beside feeding its bytes one by one.

#include <benchmark/benchmark.h>

#include <string>

#include "Vorn/CRC.h"

namespace {

void wholeBlock(benchmark::State& state) {
    const std::string block(static_cast<std::size_t>(state.range(0)), 'x');
    for (auto _ : state)
        benchmark::DoNotOptimize(Vorn::CRC::CalculateCRC32ForBlock(block.data(), block.size()));
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(wholeBlock)->Arg(16)->Arg(1 << 10)->Arg(1 << 20);

void byteByByte(benchmark::State& state) {
    const std::string block(static_cast<std::size_t>(state.range(0)), 'x');
    for (auto _ : state) {
        unsigned crc = 0;
        for (const char c : block) crc = Vorn::CRC::IterateCRC32(c, crc);
        benchmark::DoNotOptimize(crc);
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(byteByByte)->Arg(16)->Arg(1 << 10)->Arg(1 << 20);

}  // namespace
