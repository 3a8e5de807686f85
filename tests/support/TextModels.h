// Test support: what functions on texts of either width do, told once more.
#pragma once

#include <string>
#include <vector>

#include "Vorn/String.h"

namespace test {

inline std::string bytesOf(const String& s) {
    return {s, s.size()};
}

/// `text` with A to Z as a to z; with `first` 'a', the other way round.
template <class Text>
Text folded(Text text, char first = 'A') {
    for (auto& c : text)
        if (c >= first && c < first + 26) c = static_cast<typename Text::value_type>(c ^ 32);
    return text;
}

/// An empty `from` stands before every character, and `atEnd` too.
template <class Text>
Text substituted(Text text, const Text& from, const Text& to, bool atEnd) {
    for (std::size_t x = 0; (x = text.find(from, x)) < text.size() + atEnd;) {
        text.replace(x, from.size(), to);
        x += to.size() + from.empty();
    }
    return text;
}

/// The fields of a text: cut everywhere, then what does not count is dropped.
template <class Text>
std::vector<Text> fieldsOf(const Text& text, typename Text::value_type delim, unsigned flags,
                           bool escapes) {
    std::vector<Text> fields(1);
    bool quoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == delim && !(quoted && (flags & SplitQuoted))) {
            fields.emplace_back();
            continue;
        }
        fields.back() += text[i];
        if (text[i] == '"' && !(escapes && i > 0 && text[i - 1] == '\\')) quoted = !quoted;
    }
    if (!text.empty() && fields.back().empty()) fields.pop_back();
    if (!text.empty() && (flags & SplitNoEmpties)) std::erase(fields, Text());
    return fields;
}

}  // namespace test
