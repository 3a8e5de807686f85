// What texts cost: ours beside the standard string's.

#include <benchmark/benchmark.h>

#include <cstring>
#include <string>

#include "Vorn/String.h"
#include "Vorn/Vector.h"

namespace {

std::string textOf(const benchmark::State& state) {
    return std::string(static_cast<std::size_t>(state.range(0)), 'x');
}

template <class Text>
void buildAndDrop(benchmark::State& state) {
    const std::string text = textOf(state);
    for (auto _ : state) {
        Text built(text.c_str());
        benchmark::DoNotOptimize(built);
    }
}
BENCHMARK_TEMPLATE(buildAndDrop, String)->Arg(10)->Arg(100)->Arg(10000);
BENCHMARK_TEMPLATE(buildAndDrop, std::string)->Arg(10)->Arg(100)->Arg(10000);

template <class Text>
void copyAndDrop(benchmark::State& state) {
    const Text original(textOf(state).c_str());
    for (auto _ : state) {
        Text copy(original);
        benchmark::DoNotOptimize(copy);
    }
}
BENCHMARK_TEMPLATE(copyAndDrop, String)->Arg(10)->Arg(100)->Arg(10000);
BENCHMARK_TEMPLATE(copyAndDrop, std::string)->Arg(10)->Arg(100)->Arg(10000);

template <class Text>
void appendCharacters(benchmark::State& state) {
    for (auto _ : state) {
        Text built;
        for (auto n = state.range(0); n > 0; --n) built += 'x';
        benchmark::DoNotOptimize(built);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK_TEMPLATE(appendCharacters, String)->Arg(100)->Arg(100000);
BENCHMARK_TEMPLATE(appendCharacters, std::string)->Arg(100)->Arg(100000);

template <class Text>
void concatenate(benchmark::State& state) {
    const Text a(textOf(state).c_str()), b(textOf(state).c_str());
    for (auto _ : state) {
        Text both(a + b);
        benchmark::DoNotOptimize(both);
    }
}
BENCHMARK_TEMPLATE(concatenate, String)->Arg(100);
BENCHMARK_TEMPLATE(concatenate, std::string)->Arg(100);

// The cost of a byte is to be the same at every size.
void substituteAll(benchmark::State& state) {
    String text(' ', static_cast<unsigned>(state.range(0)));
    for (unsigned i = 0; i < text.size(); i += 8) text[i] = '.';
    for (auto _ : state) benchmark::DoNotOptimize(text.substitute(".", "::"));
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(substituteAll)->RangeMultiplier(32)->Range(1 << 10, 1 << 20);

void splitLine(benchmark::State& state) {
    String line;
    while (line.size() < state.range(0)) line += "field,";
    for (auto _ : state) {
        Vector<String> fields;
        benchmark::DoNotOptimize(line.split(',', fields, 0));
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(splitLine)->RangeMultiplier(32)->Range(1 << 10, 1 << 20);

}  // namespace
