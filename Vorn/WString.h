// Memory: the standard string types whose storage comes from the platform.
#pragma once

#include <string>

#include "Vorn/StdAllocator.h"

/// Wide text, one 32-bit code point a character.
using WString = std::basic_string<wchar_t, std::char_traits<wchar_t>, StdAllocator<wchar_t>>;

/// UTF-8 text as the text services return it.
using UTF8String = std::basic_string<char, std::char_traits<char>, StdAllocator<char>>;
