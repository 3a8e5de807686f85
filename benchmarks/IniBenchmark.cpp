// What loading and saving a configuration file cost, by its size.

#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "Vorn/VornIniFile.h"
#include "Vorn/WStringUtils.h"

namespace {

// A file of about `size` bytes: sections of twenty settings and a comment.
class SampleFile {
public:
    explicit SampleFile(std::int64_t size)
        : path(std::filesystem::temp_directory_path() / "vorn-benchmark.ini") {
        std::ofstream out(path, std::ios::binary);
        for (int section = 0; out.tellp() < size; ++section) {
            out << "[Section " << section << "]\r\n; what it is for\r\n";
            for (int i = 0; i < 20; ++i) out << "Setting " << i << " = value of it\r\n";
        }
    }
    ~SampleFile() { std::filesystem::remove(path); }
    SampleFile(const SampleFile&) = delete;
    SampleFile& operator=(const SampleFile&) = delete;

    WString name() const { return Vorn::WStringFromUTF8(path.c_str()); }

private:
    const std::filesystem::path path;
};

void loadAndDrop(benchmark::State& state) {
    const SampleFile file(state.range(0));
    for (auto _ : state) VornIniFile ini(file.name(), true, false);
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(loadAndDrop)->RangeMultiplier(100)->Range(1000, 10'000'000);

void save(benchmark::State& state) {
    const SampleFile file(state.range(0));
    VornIniFile ini(file.name(), true, false);
    for (auto _ : state) ini.save(file.name());
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(save)->RangeMultiplier(100)->Range(1000, 10'000'000);

}  // namespace
