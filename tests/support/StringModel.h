// Test support: what reading a `String` gives, told once more by std::string.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <memory>
#include <string>

#include "Vorn/String.h"
#include "Vorn/StringRep.h"
#include "tests/support/TextModels.h"

namespace test {

inline std::string bytesOf(const String& s) {
    return {s, s.size()};
}

/// How many answers of `s` are wrong, beside `o` and about `word`, `c` and the number `n`.
inline int wrongReads(const String& s, const String& o, const std::string& word, char c,
                      unsigned n) {
    const std::string all = bytesOf(s), text(all.c_str()), other(static_cast<const char*>(o));
    const bool some = s.textAt(0), someO = o.textAt(0), both = some && someO;
    const char* const null = nullptr;
    const bool blank = all == std::string(all.size(), ' ');
    int wrong = s.isEmpty() != blank || static_cast<const char*>(s)[s.size()] != 0;
    wrong += (s == o) != (blank || o.isEmpty() ? blank && o.isEmpty() : text == other);
    wrong += (s.compare(o) <=> 0) != ((both ? text.compare(other) : some - someO) <=> 0);
    wrong += (s < o) != (both && text < other);
    wrong += (s <= o) != (both ? text <= other : some == someO);
    wrong += (s == word.c_str()) != (text == word) || (s == null) != blank;
    wrong += (s <= word.c_str()) != (some && text <= word);
    wrong += std::bit_cast<long>(s.asDouble()) != std::bit_cast<long>(std::atof(text.c_str()));
    for (const bool cased : {false, true}) {
        const std::string w = cased ? word : folded(word), t = cased ? all : folded(all);
        wrong += s.startsWith(word.c_str(), cased) != t.starts_with(w);
        wrong += s.endsWith(word.c_str(), cased) != t.ends_with(w);
        wrong += !cased && s.compareCaseInsensitive(word.c_str()) != (w != "" && w == t.c_str());
    }
    constexpr unsigned kNone = 0xFFFFFFFF;
    const std::size_t found = n < all.size() ? std::string(&all[n]).find(word) : kNone;
    wrong += s.index(word.c_str(), n) != (found < kNone ? n + found : kNone);
    const auto last = static_cast<unsigned>(c ? text.rfind(c) : text.size());
    wrong += s.rindex(c) != (some ? last : kNone) || s[n] != (n < all.size() ? all[n] : 0);
    std::size_t at = 0;
    for (unsigned i = 0; i < n && at < text.npos; ++i) at = text.find(c, at + (i > 0));
    const bool exists = some && at < text.npos;
    const std::size_t next = exists ? text.find(c, at + (n > 0)) : text.npos;
    const std::size_t stop = exists ? std::min(next, all.size()) : kNone;
    const std::size_t first = exists ? at + (at < stop && all[at] == c) : kNone;
    unsigned start = kNone, end = kNone;
    wrong += s.nthIndex(n, c) != (exists ? at : kNone) || s.tokSpan(c, n, start, end) != exists;
    wrong += start != first || end != stop;
    return wrong;
}

/// How much is wrong of what `String` leaves to those who hold a representation themselves.
inline int wrongRep(const std::string& text, char c) {
    StringRep rep(text.data(), static_cast<unsigned>(text.size()));
    rep.refCount = 2;
    const std::unique_ptr<StringRep> copy(rep.unshare());
    int wrong = rep.refCount != 1 || copy->refCount != 1 || rep.length != text.size();
    wrong += std::string(copy->buffer, copy->capacity) != text.c_str() + std::string(1, '\0');
    *copy = c;
    copy->buffer = copy->realloc(copy->buffer, copy->capacity);
    return wrong + (std::string(copy->buffer, 2) != c + std::string(1, '\0'));
}

}  // namespace test
