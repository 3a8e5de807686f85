#include <gtest/gtest.h>

#include "Vorn/Vorn.h"

namespace {

// The remainder of the bits, least significant first, modulo x^32 + x^5 + x^3 + x^2 + 1.
TEST(CRC, BlocksAndBytesFollowTheDivision) {
    constexpr std::uint64_t kPolynomial = 0x10000002D;
    char bytes[300];
    std::uint64_t remainder = 0;
    unsigned iterated = 0;
    for (unsigned size = 0; size < 300; ++size) {
        ASSERT_EQ(Vorn::CRC::CalculateCRC32ForBlock(bytes, size), remainder) << size << " bytes";
        ASSERT_EQ(iterated, remainder) << size << " bytes";
        bytes[size] = static_cast<char>(size * 37);
        iterated = Vorn::CRC::IterateCRC32(bytes[size], iterated);
        for (int bit = 0; bit < 8; ++bit) {
            remainder = remainder << 1 | (bytes[size] >> bit & 1);
            if (remainder >> 32 != 0) remainder ^= kPolynomial;
        }
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
