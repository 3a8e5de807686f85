// Media helpers: the library's 32-bit cyclic redundancy check.
#pragma once

#include "platform/Export.h"

/// Division by x^32 + x^5 + x^3 + x^2 + 1 (0x0000002D): initial value 0, data bits enter least
/// significant first, the message is not followed by zero bits, nothing is reversed or inverted at
/// the end. It is not the checksum of zip and Ethernet. Pure functions; any thread.
namespace Vorn::CRC {

/// The checksum after the byte `c`, where `crc` is the one before it.
VORN_EXPORT unsigned int IterateCRC32(char c, unsigned int crc);

/// The checksum of the `length` bytes at `data`: the same as feeding them to `IterateCRC32` one by
/// one, starting from 0.
VORN_EXPORT unsigned int CalculateCRC32ForBlock(const void* data, unsigned long length);

}  // namespace Vorn::CRC
