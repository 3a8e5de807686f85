// Runs the benchmarks beside a second thread: while a process has only one, the standard library
// counts and locks without atomics.

#include <benchmark/benchmark.h>

#include <semaphore>
#include <thread>

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    std::binary_semaphore done(0);
    std::thread idle([&] { done.acquire(); });
    benchmark::RunSpecifiedBenchmarks();
    done.release();
    idle.join();
}
