#include <cstring>

#include "Vorn/Time.h"
#include "Vorn/WStringUtils.h"
#include "fuzz/FuzzInput.h"

namespace {

// The well-formed sequences: the range of the first byte, that of the second, and how many bytes
// follow the first. All other bytes that follow lie between 80 and BF.
constexpr struct {
    unsigned char first, last, low, high, following;
} kForms[] = {
    {0x00, 0x7F, 0, 0, 0},       {0xC2, 0xDF, 0x80, 0xBF, 1}, {0xE0, 0xE0, 0xA0, 0xBF, 2},
    {0xE1, 0xEC, 0x80, 0xBF, 2}, {0xED, 0xED, 0x80, 0x9F, 2}, {0xEE, 0xEF, 0x80, 0xBF, 2},
    {0xF0, 0xF0, 0x90, 0xBF, 3}, {0xF1, 0xF3, 0x80, 0xBF, 3}, {0xF4, 0xF4, 0x80, 0x8F, 3}};

// Takes one character, or the longest start of one, from the front of `rest`.
unsigned next(const unsigned char*& rest) {
    const unsigned char lead = *rest++;
    for (const auto& form : kForms) {
        if (lead < form.first || lead > form.last) continue;
        unsigned c = lead & (form.following ? 0x3Fu >> form.following : 0x7Fu);
        for (int i = 0; i < form.following; ++i, c = c << 6 | (*rest++ & 0x3Fu))
            if (*rest < (i ? 0x80 : form.low) || *rest > (i ? 0xBF : form.high)) return 0xFFFD;
        return c;
    }
    return 0xFFFD;
}

void encode(unsigned c, UTF8String& out) {
    if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) c = 0xFFFD;
    const int following = c < 0x80 ? 0 : c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
    out += static_cast<char>((following ? 0xFF80u >> following : 0) | c >> 6 * following);
    for (int i = following; i-- > 0;) out += static_cast<char>(0x80 | (c >> 6 * i & 0x3F));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    WString decoded, wide(size / sizeof(wchar_t), L'\0'), ascii;
    UTF8String encoded;
    for (auto* rest = reinterpret_cast<const unsigned char*>(text.c_str()); *rest;)
        decoded += static_cast<wchar_t>(next(rest));
    assert(Vorn::WStringFromUTF8(text.c_str()) == decoded);
    if (size > 0) std::memcpy(wide.data(), data, wide.size() * sizeof(wchar_t));
    wide += decoded;
    for (const wchar_t c : wide) encode(static_cast<unsigned>(c), encoded);
    assert(Vorn::UTF8FromWString(wide) == encoded);
    for (const char* c = text.c_str(); *c; ++c) ascii += static_cast<unsigned char>(*c);
    assert(Vorn::WStringFromAscii(text.c_str()) == ascii);
    assert(Vorn::now() > 0);
    return 0;
}
