// Platform contract: an open file.
#pragma once

#include <cstdint>

#include "platform/Export.h"

/// Reaches the library inside an internally counted `Vorn::Ptr<iFile>`, built with `Ptr::adopt`
/// over a 32-bit counter in the object that already counts that handle. The last handle deletes the
/// object, which closes the file: whatever was written must have reached it when the destructor
/// returns. The destructor must not throw. One file is used by one thread at a time.
class VORN_EXPORT iFile {
public:
    virtual ~iFile() = default;

    /// Reads up to `bytes` bytes at the current position, at first the start of the file. Returns
    /// how many were read: 0 on failure, less than `bytes` only where the file ends. The library
    /// reads once and takes any other result than 0 for success.
    virtual unsigned read(void* buffer, unsigned bytes) = 0;
    virtual void reserved2() {}
    virtual void reserved3() {}
    virtual void reserved4() {}
    /// Writes at the current position, so that successive writes follow one another. Returns how
    /// many bytes were taken; the library does not look at it.
    virtual unsigned write(const void* data, unsigned bytes) = 0;
    virtual void reserved6() {}
    virtual void reserved7() {}
    virtual void reserved8() {}
    virtual void reserved9() {}
    virtual void reserved10() {}
    virtual void reserved11() {}
    virtual void reserved12() {}
    /// The file's length in bytes.
    virtual std::uint64_t size() = 0;
};
