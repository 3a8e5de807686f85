#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <random>

#include "Vorn/CRC.h"
#include "Vorn/PlayoutFCC.h"

namespace {

// The remainder of the bits, least significant first, modulo x^32 + x^5 + x^3 + x^2 + 1.
TEST(CRC, BlocksAndBytesFollowTheDivision) {
    std::mt19937 random(1);
    char bytes[308];
    for (char& byte : bytes) byte = static_cast<char>(random());
    for (const char* start = bytes; start < bytes + 8; ++start) {
        std::uint64_t check = 0;
        unsigned iterated = 0;
        for (unsigned n = 0; n <= 300; ++n) {
            ASSERT_EQ(Vorn::CRC::CalculateCRC32ForBlock(start, n), check) << n;
            ASSERT_EQ(iterated, check) << n;
            iterated = Vorn::CRC::IterateCRC32(start[n], iterated);
            for (int bit = 0; bit < 8; ++bit) {
                check = check << 1 | (start[n] >> bit & 1);
                check ^= (check >> 32) * 0x10000002D;
            }
        }
    }
    EXPECT_EQ(Vorn::CRC::CalculateCRC32ForBlock("123456789", 9), 0xECF6681E);
}

TEST(PlayoutFCC, MapsTheTableAndNothingElse) {
    // A result follows each '=', its inputs follow the result.
    const char table[] =
        "=dvsddvc dvcpCDVC=dv25dvpndvpp=dv50dv5ndv5p=dvh1dvh5dvh6dvhpdvhq=GIMXmx3nmx4nmx5nmx3pmx4p"
        "mx5p=M701hdv3hdv5hdv7hdvaxdv3xdv5xdvaxdvcxdvexd5axd5cxd5e=MMESmpeg=avc5ai55ai5qavcaavcb"
        "=avc6ai12ai15ai1qavccavcd=MJPGmjpa=UYVY2vuy=YUY2yuv2";
    std::map<unsigned, unsigned> codes;
    unsigned code, result = 0;
    for (const char* p = table; *p; p += 4) {
        const bool isResult = *p == '=';
        std::memcpy(isResult ? &result : &code, p += isResult, 4);
        if (!isResult) codes[code] = result;
    }
    for (unsigned id : {1235u, 1241u, 1250u}) codes[id] = 0x78645641;
    for (unsigned id : {1237u, 1238u, 1242u, 1243u, 1244u, 1251u, 1252u, 1253u})
        codes[id] = 0x6E645641;
    EXPECT_EQ(codes.size(), 53u);
    for (const auto& [in, out] : std::map(codes))
        for (const unsigned c :
             {in - 1, in, in + 1, out, __builtin_bswap32(in), in ^ 0x20, in ^ 1u << 29})
            EXPECT_EQ(Vorn::lookupPlayoutFCC(c), codes.contains(c) ? codes[c] : c) << std::hex << c;
}

}  // namespace
