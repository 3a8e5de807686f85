// Configuration files: which line of an INI file is what, for all that read one.
#pragma once

#include <cstddef>
#include <string_view>

namespace Vorn::IniLines {

/// The name of the section that holds the entries before the first header.
constexpr std::string_view kAnonymous = "@@@ANONYMOUS_SECTION_RESERVED_NAME@@@";

/// If case is ignored, A to Z equal a to z in every locale.
constexpr unsigned char folded(char c, bool caseSensitive) {
    const bool upper = !caseSensitive && c >= 'A' && c <= 'Z';
    return static_cast<unsigned char>(upper ? c - 'A' + 'a' : c);
}

/// Compares at most `limit` bytes of two zero-terminated names: below, equal to or above 0.
inline int compareNames(const char* a, const char* b, bool caseSensitive, std::size_t limit) {
    for (std::size_t i = 0; i < limit; ++i) {
        if (a[i] != b[i]) {
            const int order = folded(a[i], caseSensitive) - folded(b[i], caseSensitive);
            if (order != 0) return order;
        } else if (a[i] == 0) {
            return 0;
        }
    }
    return 0;
}

/// A piece from `splitBuffer` without the spaces at its ends. If nothing is left, the line is
/// blank.
inline std::string_view trimmed(std::string_view piece) {
    const std::size_t start = piece.find_first_not_of(' ');
    if (start == piece.npos) return {};
    return piece.substr(start, piece.find_last_not_of(' ') + 1 - start);
}

/// Whether a trimmed line is a header. Any other line that is not blank is an entry.
inline bool isHeader(std::string_view line) {
    return line.front() == '[' && line.back() == ']';
}

inline std::string_view headerName(std::string_view line) {
    return line.substr(1, line.size() - 2);
}

}  // namespace Vorn::IniLines
