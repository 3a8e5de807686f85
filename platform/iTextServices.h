// Platform contract: text conversion and the clock.
#pragma once

#include "Vorn/WString.h"
#include "platform/Export.h"

/// The strings that come back are built with the allocator of their type, because the library grows
/// and frees them. Text that cannot be converted is the platform's to replace; conversions throw
/// nothing but `std::bad_alloc`. Any thread may call any operation at any time.
class VORN_EXPORT iTextServices {
public:
    virtual ~iTextServices() = default;

    /// Widens zero-terminated 8-bit text, one character a byte.
    virtual WString wideFromAscii(const char* text) = 0;
    virtual void reserved2() {}
    /// The UTF-8 encoding of `text`.
    virtual UTF8String utf8FromWide(const WString& text) = 0;
    /// Decodes zero-terminated UTF-8.
    virtual WString wideFromUtf8(const char* text) = 0;
    /// The current time in milliseconds. Only differences of two readings have a meaning.
    virtual double nowMilliseconds() = 0;
};
