#include <gtest/gtest.h>

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
}

// All codes that begin as one with an answer of its own does.
TEST(PlayoutFCC, AnswersStayAsTheyAre) {
    std::vector<unsigned> answers;
    for (unsigned n = 0; n < 2000; ++n) answers.push_back(Vorn::lookupPlayoutFCC(n));
    for (const char* start : {"2v", "CD", "ai", "av", "dv", "hd", "mj", "mp", "mx", "xd", "yu"})
        for (unsigned end = 0; end < 0x8000; ++end) {
            const unsigned code = end << 16 | static_cast<unsigned>(start[1] << 8 | start[0]);
            answers.push_back(Vorn::lookupPlayoutFCC(code));
        }
    EXPECT_EQ(Vorn::CRC::CalculateCRC32ForBlock(answers.data(), answers.size() * 4), 0xEA190FB5u);
}

}  // namespace
