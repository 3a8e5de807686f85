// Configuration files: splitting a buffer into lines.
#pragma once

#include <cstring>

#include "Vorn/String.h"

namespace Vorn::StringManip {

namespace Private {

constexpr bool isPrintable(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte >= 0x20 && byte != 0x7F;
}

/// Calls `take(const char* start, unsigned long size)` for each piece of the buffer, split as by
/// `splitBuffer`; returns their number.
template <class Take>
unsigned long forEachPiece(const char* buffer, unsigned long length, char delimiter, Take take) {
    const char* const end = buffer + length;
    unsigned long count = 0;
    for (const char* start = buffer; start != end; ++count) {
        const auto left = static_cast<unsigned long>(end - start);
        const auto* found = static_cast<const char*>(std::memchr(start, delimiter, left));
        const char* const next = found ? found : end;
        const char* last = next;
        while (last != start && !isPrintable(last[-1])) --last;
        take(start, static_cast<unsigned long>(last - start));
        start = next;
        if (start != end) ++start;
        while (start != end && *start != delimiter && !isPrintable(*start)) ++start;
    }
    return count;
}

}  // namespace Private

/// Splits the `length` bytes at `buffer` at each `delimiter`, assigns the pieces to `out` as
/// `String`s, and returns their number. A delimiter at the end does not start another piece. Bytes
/// 0x00 to 0x1F and 0x7F are dropped at the end of every piece and at the start of every piece but
/// the first; all others, UTF-8 included, are kept. Pieces of 2^31 bytes and more throw
/// `std::bad_alloc`.
template <class OutputIterator>
unsigned long splitBuffer(OutputIterator out, const char* buffer, unsigned long length,
                          char delimiter) {
    return Private::forEachPiece(
        buffer, length, delimiter, [&](const char* start, unsigned long size) {
            *out = String(start, size < 0xFFFFFFFF ? static_cast<unsigned>(size) : 0xFFFFFFFF);
            ++out;
        });
}

}  // namespace Vorn::StringManip
