// Memory: the standard string types whose storage comes from the platform.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "Vorn/StdAllocator.h"

/// Wide text. Each character is a 32-bit code point.
using WString = std::basic_string<wchar_t, std::char_traits<wchar_t>, StdAllocator<wchar_t>>;

/// UTF-8 text, as the text services return it.
using UTF8String = std::basic_string<char, std::char_traits<char>, StdAllocator<char>>;

namespace std {

template <>
struct hash<WString> {
    std::size_t operator()(const WString& text) const noexcept {
        return std::hash<std::wstring_view>()(text);
    }
};

template <>
struct hash<UTF8String> {
    std::size_t operator()(const UTF8String& text) const noexcept {
        return std::hash<std::string_view>()(text);
    }
};

}  // namespace std
