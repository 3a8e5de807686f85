// Text and containers: the loop that both split functions share.
#pragma once

#include <cstddef>
#include <string>

#include "Vorn/SplitFlags.h"
#include "Vorn/Vector.h"

namespace Vorn::SplitPrivate {

/// Where the field from `start` ends: at the next delimiter outside double quotes, or at `length`.
/// `inQuotes` is carried from field to field. With `backslashEscapes`, a double quote after a
/// backslash does not count.
template <class Char>
std::size_t quotedFieldEnd(const Char* text, std::size_t length, std::size_t start, Char delim,
                           bool backslashEscapes, bool& inQuotes) {
    for (std::size_t i = start; i < length; ++i) {
        if (text[i] == delim && !inQuotes) return i;
        if (text[i] == Char('"') && !(backslashEscapes && i > 0 && text[i - 1] == Char('\\')))
            inQuotes = !inQuotes;
    }
    return length;
}

/// The same if quotes do not matter.
template <class Char>
std::size_t plainFieldEnd(const Char* text, std::size_t length, std::size_t start, Char delim) {
    const Char* const found = std::char_traits<Char>::find(text + start, length - start, delim);
    return found ? static_cast<std::size_t>(found - text) : length;
}

/// Appends the fields of `whole`, whose characters are `text`, to `out`. `makeField(position,
/// size)` makes each field that is not all of `whole`. Returns the number of elements of `out`.
/// When memory runs out, `out` is unchanged. `whole` is not an element of `out`.
template <class Text, class Char, class MakeField>
unsigned appendFields(const Text& whole, const Char* text, std::size_t length, Char delim,
                      unsigned flags, bool backslashEscapes, Vector<Text>& out,
                      MakeField makeField) {
    const bool quotesCount = (flags & SplitQuoted) != 0 && delim != Char('"');
    const bool keepEmpties = (flags & SplitNoEmpties) == 0;
    const unsigned before = out.size();
    bool inQuotes = false;
    try {
        if (length == 0) out.add(whole);
        for (std::size_t start = 0, end; start < length; start = end + 1) {
            end = quotesCount
                      ? quotedFieldEnd(text, length, start, delim, backslashEscapes, inQuotes)
                      : plainFieldEnd(text, length, start, delim);
            if (end - start == length)
                out.add(whole);
            else if (end > start || keepEmpties)
                out.add(makeField(start, end - start));
        }
    } catch (...) {
        out.remove(before, out.size());
        throw;
    }
    return out.size();
}

}  // namespace Vorn::SplitPrivate
