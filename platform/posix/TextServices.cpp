#include <unicode/utf8.h>

#include <chrono>
#include <cstring>

#include "platform/posix/Services.h"

namespace posix {
namespace {

constexpr UChar32 kReplacement = 0xFFFD;

// Surrogates and values past the last code point have no encoding.
UChar32 encodable(wchar_t character) {
    const auto codePoint = static_cast<UChar32>(static_cast<std::uint32_t>(character));
    return U8_LENGTH(codePoint) > 0 ? codePoint : kReplacement;
}

std::size_t encodedBytes(const WString& text) {
    std::size_t bytes = 0;
    for (const wchar_t character : text) bytes += U8_LENGTH(encodable(character));
    return bytes;
}

// Calls `take` with each code point, and with the replacement character once for each maximal part
// of an ill-formed sequence.
template <class Take>
void decode(const char* text, Take take) {
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(text);
    const std::size_t length = std::strlen(text);
    for (std::size_t at = 0; at < length;) {
        UChar32 codePoint;
        U8_NEXT_OR_FFFD(bytes, at, length, codePoint);
        take(codePoint);
    }
}

class TextServices final : public iTextServices {
public:
    WString wideFromAscii(const char* text) override {
        if (!text) return {};
        const auto* const bytes = reinterpret_cast<const unsigned char*>(text);
        return WString(bytes, bytes + std::strlen(text));
    }

    UTF8String utf8FromWide(const WString& text) override {
        UTF8String encoded(encodedBytes(text), '\0');
        auto* const bytes = reinterpret_cast<std::uint8_t*>(encoded.data());
        std::size_t at = 0;
        for (const wchar_t character : text) {
            const UChar32 codePoint = encodable(character);
            U8_APPEND_UNSAFE(bytes, at, codePoint);
        }
        return encoded;
    }

    WString wideFromUtf8(const char* text) override {
        if (!text) return {};
        std::size_t characters = 0;
        decode(text, [&](UChar32) { ++characters; });
        WString decoded(characters, L'\0');
        wchar_t* next = decoded.data();
        decode(text, [&](UChar32 codePoint) { *next++ = static_cast<wchar_t>(codePoint); });
        return decoded;
    }

    double nowMilliseconds() override {
        const auto sinceStart = std::chrono::steady_clock::now().time_since_epoch();
        return std::chrono::duration<double, std::milli>(sinceStart).count();
    }
};

constexpr NeverDestroyed<TextServices> services;

}  // namespace

iTextServices* const textServices = &services.object;

}  // namespace posix
