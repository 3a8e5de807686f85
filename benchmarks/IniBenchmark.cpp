// What configuration files cost: loading by size, saving and looking settings up.

#include <benchmark/benchmark.h>

#include <unistd.h>

#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "benchmarks/IniParsers.h"

namespace {

// In memory, where there is no disk to wait for.
struct TemporaryFile {
    explicit TemporaryFile(std::size_t size = 0) { std::ofstream(path) << sampleText(size); }
    ~TemporaryFile() { std::filesystem::remove(path); }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;

    static inline int count = 0;
    const std::string path =
        "/dev/shm/benchmark-" + std::to_string(getpid()) + '-' + std::to_string(++count);
};

template <class Parser>
void load(benchmark::State& state) {
    const TemporaryFile file(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) const Parser parser(file.path.c_str());
}

template <class Parser>
Parser& tenMegabytes() {
    static Parser parser(TemporaryFile(10'000'000).path.c_str());
    return parser;
}

template <class Parser>
void save(benchmark::State& state) {
    Parser& parser = tenMegabytes<Parser>();
    const TemporaryFile target;
    for (auto _ : state) parser.save(target.path.c_str());
}

// A file is loaded, one value changed, and the file saved.
template <class Parser>
void change(benchmark::State& state) {
    const TemporaryFile source(10'000'000), target;
    const typename Parser::Key key("Input 5000", "Width");
    for (auto _ : state) {
        Parser parser(source.path.c_str());
        parser.set(key, "3840");
        parser.save(target.path.c_str());
    }
}

// Settings all over the file.
template <class Parser>
void find(benchmark::State& state) {
    const Parser& parser = tenMegabytes<Parser>();
    static const char* const names[] = {"Width", "DelayInMs", "Enabled", "Timecode"};
    std::mt19937 random;
    std::vector<typename Parser::Key> keys;
    for (int n = 0; n < 1000; ++n) {
        const std::string section = "Input " + std::to_string(random() % 10'000);
        keys.emplace_back(section.c_str(), names[random() % 4]);
        require(parser.find(keys.back()));
    }
    std::size_t next = 0;
    for (auto _ : state) benchmark::DoNotOptimize(parser.find(keys[next++ % keys.size()]));
}

template <class Parser>
bool use(const std::string& name) {
    if (name != "Qt")  // It would load a file once and keep it.
        benchmark::RegisterBenchmark(("iniLoad<" + name + ">").c_str(), load<Parser>)
            ->RangeMultiplier(10)
            ->Range(1000, name == "Ours" || name == "Settings" ? 10'000'000 : 100'000);
    if constexpr (requires(Parser parser) { parser.save(""); })
        benchmark::RegisterBenchmark(("iniSave<" + name + ">").c_str(), save<Parser>);
    if constexpr (requires { &Parser::set; })
        benchmark::RegisterBenchmark(("iniChange<" + name + ">").c_str(), change<Parser>);
    if constexpr (requires { typename Parser::Key; })
        benchmark::RegisterBenchmark(("iniFind<" + name + ">").c_str(), find<Parser>);
    return true;
}

}  // namespace
