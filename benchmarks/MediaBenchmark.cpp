// What the check of a block and the lookup of a playout code cost.

#include <benchmark/benchmark.h>

#include <array>
#include <iterator>
#include <random>
#include <string>

#include "Vorn/CRC.h"
#include "Vorn/PlayoutFCC.h"

#ifdef VORN_PEER_ZLIB
#include <zlib.h>
#endif

namespace {

template <class Check>
void check(benchmark::State& state, Check blockCheck) {
    const std::string block(static_cast<std::size_t>(state.range(0)), 'x');
    for (auto _ : state) benchmark::DoNotOptimize(blockCheck(block.data(), block.size()));
}

unsigned byteByByte(const void* data, unsigned long length) {
    unsigned crc = 0;
    for (const char* byte = static_cast<const char*>(data); length > 0; --length)
        crc = Vorn::CRC::IterateCRC32(*byte++, crc);
    return crc;
}

#define CHECK(name, function) \
    BENCHMARK_CAPTURE(check, name, function)->Arg(16)->RangeMultiplier(1000)->Range(1000, 1'000'000)
CHECK(block, Vorn::CRC::CalculateCRC32ForBlock);
CHECK(byteByByte, byteByByte);
#ifdef VORN_PEER_ZLIB
unsigned long zlibCheck(const void* data, unsigned long length) {
    return crc32_z(0, static_cast<const unsigned char*>(data), length);
}
CHECK(zlib, zlibCheck);
#endif

constexpr unsigned fcc(const char* code) {
    unsigned value = 0;
    for (int i = 3; i >= 0; --i) value = value << 8 | static_cast<unsigned char>(code[i]);
    return value;
}

// clang-format off
#define PLAYOUT_CODES(X) \
    X("dvc ", "dvsd") X("dvcp", "dvsd") X("CDVC", "dvsd") X("dvpn", "dv25") \
    X("dvpp", "dv25") X("dv5n", "dv50") X("dv5p", "dv50") X("dvh5", "dvh1") \
    X("dvh6", "dvh1") X("dvhp", "dvh1") X("dvhq", "dvh1") X("mx3n", "GIMX") \
    X("mx4n", "GIMX") X("mx5n", "GIMX") X("mx3p", "GIMX") X("mx4p", "GIMX") \
    X("mx5p", "GIMX") X("hdv3", "M701") X("hdv5", "M701") X("hdv7", "M701") \
    X("hdva", "M701") X("xdv3", "M701") X("xdv5", "M701") X("xdva", "M701") \
    X("xdvc", "M701") X("xdve", "M701") X("xd5a", "M701") X("xd5c", "M701") \
    X("xd5e", "M701") X("mpeg", "MMES") X("ai55", "avc5") X("ai5q", "avc5") \
    X("avca", "avc5") X("avcb", "avc5") X("ai12", "avc6") X("ai15", "avc6") \
    X("ai1q", "avc6") X("avcc", "avc6") X("avcd", "avc6") X("mjpa", "MJPG") \
    X("2vuy", "UYVY") X("yuv2", "YUY2") X("\xD5\4\0\0", "AVdn") X("\xD6\4\0\0", "AVdn") \
    X("\xDA\4\0\0", "AVdn") X("\xDB\4\0\0", "AVdn") X("\xDC\4\0\0", "AVdn") \
    X("\xE3\4\0\0", "AVdn") X("\xE4\4\0\0", "AVdn") X("\xE5\4\0\0", "AVdn") \
    X("\xD3\4\0\0", "AVdx") X("\xD9\4\0\0", "AVdx") X("\xE2\4\0\0", "AVdx")
// clang-format on

// NOLINTBEGIN(bugprone-branch-clone): one case a code.
unsigned plainSwitch(unsigned code) {
    switch (code) {
#define PLAYOUT_CASE(from, to) \
    case fcc(from):            \
        return fcc(to);
        PLAYOUT_CODES(PLAYOUT_CASE)
        default:
            return code;
    }
}
// NOLINTEND(bugprone-branch-clone)

// Known and unknown codes, so few that where the code lies hardly matters to the predictor of
// jumps. The compiler sees neither function, so that both are called through an address, as those
// of a shared library are.
void playout(benchmark::State& state, unsigned (*lookup)(unsigned)) {
    benchmark::DoNotOptimize(lookup);
#define PLAYOUT_INPUT(from, to) fcc(from), fcc(to) + 1,
    constexpr unsigned codes[] = {PLAYOUT_CODES(PLAYOUT_INPUT)};
    std::mt19937 random;
    std::array<unsigned, 64> inputs;
    for (unsigned& input : inputs) input = codes[random() % std::size(codes)];
    std::size_t next = 0;
    for (auto _ : state) benchmark::DoNotOptimize(lookup(inputs[next++ % inputs.size()]));
}
BENCHMARK_CAPTURE(playout, lookup, Vorn::lookupPlayoutFCC);
BENCHMARK_CAPTURE(playout, switch, plainSwitch);

}  // namespace
