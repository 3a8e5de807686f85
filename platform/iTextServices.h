// Platform contract: text conversion and the clock.
#pragma once

#include "Vorn/WString.h"
#include "platform/Export.h"

/// The returned strings use the allocator of their type, because the library grows and frees them.
/// The platform decides what replaces text that cannot be converted; conversions throw only
/// `std::bad_alloc`. Any thread may call any operation at any time.
class VORN_EXPORT iTextServices {
public:
    virtual ~iTextServices() = default;

    /// Widens zero-terminated 8-bit text, one character per byte.
    virtual WString wideFromAscii(const char* text) = 0;
    virtual void reserved2() {}
    /// The UTF-8 encoding of `text`.
    virtual UTF8String utf8FromWide(const WString& text) = 0;
    /// Decodes zero-terminated UTF-8.
    virtual WString wideFromUtf8(const char* text) = 0;
    /// The current time in milliseconds. Only the difference between two readings has a meaning.
    virtual double nowMilliseconds() = 0;
};
