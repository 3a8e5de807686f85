#include <gtest/gtest.h>

#include <cstring>

#include "Vorn/Vorn.h"

namespace {

// The remainder of the bits, least significant first, modulo x^32 + x^5 + x^3 + x^2 + 1.
TEST(CRC, BlocksAndBytesFollowTheDivision) {
    char bytes[300];
    std::uint64_t check = 0;
    unsigned iterated = 0;
    for (unsigned n = 0; n < 300; ++n) {
        ASSERT_TRUE(Vorn::CRC::CalculateCRC32ForBlock(bytes, n) == check && iterated == check) << n;
        bytes[n] = static_cast<char>(n * 37);
        iterated = Vorn::CRC::IterateCRC32(bytes[n], iterated);
        for (int bit = 0; bit < 8; ++bit)
            check = (check << 1 | (bytes[n] >> bit & 1)) ^ (check >> 31) * 0x10000002D;
    }
    EXPECT_EQ(Vorn::CRC::CalculateCRC32ForBlock("123456789", 9), 0xECF6681E);
}

TEST(PlayoutFCC, MapsTheTableAndNothingElse) {
    // A result follows each '=', its inputs follow the result.
    const char table[] =
        "=dvsddvc dvcpCDVC=dv25dvpndvpp=dv50dv5ndv5p=dvh1dvh5dvh6dvhpdvhq=GIMXmx3nmx4nmx5nmx3pmx4p"
        "mx5p=M701hdv3hdv5hdv7hdvaxdv3xdv5xdvaxdvcxdvexd5axd5cxd5e=MMESmpeg=avc5ai55ai5qavcaavcb"
        "=avc6ai12ai15ai1qavccavcd=MJPGmjpa=UYVY2vuy=YUY2yuv2";
    unsigned code = 0, result = 0;
    for (const char* p = table; *p; p += 4) {
        std::memcpy(&code, *p == '=' ? ++p : p, 4);
        if (p[-1] == '=') result = code;
        EXPECT_EQ(Vorn::lookupPlayoutFCC(code), result) << p;
        EXPECT_EQ(Vorn::lookupPlayoutFCC(code ^ 0x20), code ^ 0x20) << p;
    }
    // For each number from 1234 on, the last letter of its "AVdx" or "AVdn".
    const char last[] = ".x.nn..xnnn.....xnnn.";
    for (unsigned i = 0; last[i]; ++i)
        EXPECT_EQ(Vorn::lookupPlayoutFCC(1234 + i),
                  last[i] == '.' ? 1234 + i : 0x645641u | static_cast<unsigned>(last[i]) << 24);
}

}  // namespace
