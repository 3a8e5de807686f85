#include "Vorn/CRC.h"

#include <cstdint>
#include <cstring>

namespace Vorn::CRC {
namespace {

constexpr unsigned kPolynomial = 0x0000002D;

// The check is the message, as a polynomial over GF(2), modulo x^32 + Q with Q = x^5 + x^3 + x^2
// + 1. A block keeps a remainder of 64 bits with its bits reversed: bit i stands for x^(63 - i). So
// eight message bytes enter as one little-endian word, and multiplying by x^k is a right shift by
// k.

// The same remainder with what stands at x^32 and above multiplied by Q instead.
std::uint64_t fold(std::uint64_t s) {
    const std::uint64_t high = s << 32;
    return (s >> 32 << 32) ^ high ^ high >> 2 ^ high >> 3 ^ high >> 5;
}

// s * x^64: x^64 is Q * Q = x^10 + x^6 + x^4 + 1, and a folded s leaves room for 27 more bits.
std::uint64_t timesX64(std::uint64_t s) {
    const std::uint64_t t = fold(s);
    return t ^ t >> 4 ^ t >> 6 ^ t >> 10;
}

// s * x^128: the square of x^64 has the squares of its terms.
std::uint64_t timesX128(std::uint64_t s) {
    const std::uint64_t t = fold(s);
    return t ^ t >> 8 ^ t >> 12 ^ t >> 20;
}

std::uint32_t reverseBits(std::uint32_t v) {
    v = (v >> 1 & 0x55555555) | (v & 0x55555555) << 1;
    v = (v >> 2 & 0x33333333) | (v & 0x33333333) << 2;
    v = (v >> 4 & 0x0F0F0F0F) | (v & 0x0F0F0F0F) << 4;
    v = (v >> 8 & 0x00FF00FF) | (v & 0x00FF00FF) << 8;
    return v >> 16 | v << 16;
}

}  // namespace

unsigned int IterateCRC32(char c, unsigned int crc) {
    for (int bit = 0; bit < 8; ++bit) {
        const unsigned carry = crc >> 31;
        crc = crc << 1 | (static_cast<unsigned char>(c) >> bit & 1);
        if (carry) crc ^= kPolynomial;
    }
    return crc;
}

unsigned int CalculateCRC32ForBlock(const void* data, unsigned long length) {
    const char* p = static_cast<const char*>(data);
    const char* const end = p + length;
    // Every second word belongs to one remainder, the others to another, since two can be worked on
    // at once. Leading zero bits change nothing, so the odd bytes go first, behind zeros.
    std::uint64_t words[2] = {};
    const unsigned long odd = length % sizeof words;
    if (odd > 0) std::memcpy(reinterpret_cast<char*>(words) + (sizeof words - odd), p, odd);
    std::uint64_t first = words[0];
    std::uint64_t second = words[1];
    for (p += odd; p != end; p += sizeof words) {
        std::memcpy(words, p, sizeof words);
        first = timesX128(first) ^ words[0];
        second = timesX128(second) ^ words[1];
    }
    const std::uint64_t s = timesX64(first) ^ second;
    return reverseBits(static_cast<std::uint32_t>(fold(fold(s)) >> 32));
}

}  // namespace Vorn::CRC
