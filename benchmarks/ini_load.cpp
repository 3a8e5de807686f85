// Loads one file once, so that each load has a process of its own.
//
// Usage: ini_load PARSER FILE       prints the load's CPU seconds and its share in the peak memory
//        ini_load KIND FILE SIZE    writes a file to load, of SIZE bytes, settings or sections

#include <algorithm>
#include <ctime>
#include <exception>
#include <iostream>
#include <iterator>
#include <map>
#include <random>
#include <string>

#include "benchmarks/IniParsers.h"

namespace {

// The peak of this program alone; `getrusage` includes the one that started it.
[[maybe_unused]] long peakBytes() {  // Unless there are peers, nobody asks.
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;)
        if (long kilobytes = 0; word == "VmHWM:" && status >> kilobytes) return kilobytes * 1024;
    return 0;
}

template <class Parser>
void load(const char* path) {
    const std::clock_t timeBefore = std::clock();
    const long peakBefore = peakBytes();
    const Parser parser(path);
    const auto time = static_cast<double>(std::clock() - timeBefore);
    std::cout << time / CLOCKS_PER_SEC << ' ' << peakBytes() - peakBefore << '\n';
}

using Loaders = std::map<std::string, void (*)(const char*)>;

Loaders& loaders() {
    static Loaders known;
    return known;
}

template <class Parser>
bool use(const std::string& name) {
    return loaders().emplace(name, &load<Parser>).second;
}

std::string numbered(std::size_t count, const char* before, const char* after) {
    std::string text;
    for (std::size_t n = 0; n < count; ++n)
        text.append(before).append(std::to_string(n)).append(after);
    return text;
}

std::string makeText(const std::string& kind, std::size_t size) {
    if (kind == "sample") return sampleText(size);
    if (kind == "settings") return numbered(size, "Setting ", " = on\r\n");
    if (kind == "sections") return numbered(size, "[Section ", "]\r\nSetting = on\r\n");
    if (kind == "lineEnds") return std::string(size, '\n');
    if (kind == "brackets") return std::string(size, '[');
    if (kind == "oneLine") return std::string(size, 'x');
    require(kind == "randomBytes");
    std::string text;
    std::generate_n(std::back_inserter(text), size,
                    [random = std::mt19937()]() mutable { return static_cast<char>(random()); });
    return text;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        if (argc == 3) loaders().at(argv[1])(argv[2]);
        if (argc == 4) std::ofstream(argv[2]) << makeText(argv[1], std::stoul(argv[3]));
        return 0;
    } catch (const std::exception& failure) {
        std::cerr << "ini_load: " << failure.what() << '\n';
        return 1;
    }
}
