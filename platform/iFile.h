// Platform contract: an open file.
#pragma once

#include <cstdint>

#include "platform/Export.h"

/// Reaches the library inside an internally counted `Vorn::Ptr<iFile>`, built with `Ptr::adopt`
/// over a 32-bit counter in the object, which already counts that handle. The last handle deletes
/// the object, which closes the file: whatever was written must be in it when the destructor
/// returns. The destructor must not throw. One thread at a time uses a file.
class VORN_EXPORT iFile {
public:
    virtual ~iFile() = default;

    /// Reads up to `bytes` bytes at the current position, which is first the start of the file.
    /// Returns how many were read: 0 on failure, fewer than `bytes` only at the end of the file.
    /// The library reads once and takes any result but 0 for success.
    virtual unsigned read(void* buffer, unsigned bytes) = 0;
    virtual void reserved2() {}
    virtual void reserved3() {}
    virtual void reserved4() {}
    /// Writes at the current position, so that successive writes follow one another. Returns how
    /// many bytes were written; the library ignores it.
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
