#include <bit>
#include <cstring>
#include <filesystem>

#include "Vorn/WStringUtils.h"
#include "fuzz/FuzzInput.h"

namespace {

UTF8String encode(char32_t c) {
    const bool exists = c <= 0x10FFFF && (c < 0xD800 || c > 0xDFFF);
    const auto bytes = std::filesystem::path(std::u32string(1, exists ? c : 0xFFFD)).string();
    return {bytes.begin(), bytes.end()};
}

// Whether a character starts with these bytes, which hold all of its bits but 6 for each byte left:
// the least or the greatest that they can stand for does.
bool isStart(const UTF8String& bytes, char32_t bits, int left) {
    const UTF8String least = encode(bits << 6 * left);
    const UTF8String greatest = encode(((bits + 1) << 6 * left) - 1);
    return least.starts_with(bytes) || greatest.starts_with(bytes);
}

// Takes one character, or the longest start of one, from the front of `rest`.
char32_t next(const char*& rest) {
    const char* const start = rest++;
    const auto lead = static_cast<unsigned char>(*start);
    int left = std::clamp(std::countl_one(lead) - 1, 0, 3);
    char32_t bits = lead < 0x80 ? lead : lead & 0x3Fu >> left;
    while (isStart({start, rest}, bits, left)) {
        if (left == 0) return bits;
        bits = bits << 6 | (static_cast<unsigned char>(*rest++) & 0x3F);
        --left;
    }
    rest = std::max(start + 1, rest - 1);
    return 0xFFFD;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    WString decoded, wide(size / sizeof(wchar_t), L'\0'), ascii;
    UTF8String encoded;
    for (const char* rest = text.c_str(); *rest;) decoded += static_cast<wchar_t>(next(rest));
    assert(Vorn::WStringFromUTF8(text.c_str()) == decoded);
    if (size > 0) std::memcpy(wide.data(), data, wide.size() * sizeof(wchar_t));
    for (const wchar_t c : wide += decoded) encoded += encode(static_cast<unsigned>(c));
    assert(Vorn::UTF8FromWString(wide) == encoded);
    for (const char* c = text.c_str(); *c; ++c) ascii += static_cast<unsigned char>(*c);
    assert(Vorn::WStringFromAscii(text.c_str()) == ascii);
    return 0;
}
