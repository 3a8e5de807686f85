// Memory: the global allocation operators and 16-byte-aligned blocks.
//
// The library defines and exports every replaceable form of the global `operator new` and `operator
// delete`; all end in the platform's memory services. Plain forms let `std::bad_alloc` out and end
// the process for any other exception; nothrow forms return null whatever the services throw.
// There is no new-handler and no retry. All are as thread-safe as those services.
//
// A program may replace some of them, as the standard allows: each of the others ends in the plain
// form of its kind, arrays in `new[]`, aligned blocks in the aligned `new`, and those two in the
// plain `new`; releasing likewise. So whoever replaces a form and its `delete` gets both back.
#pragma once

#include "platform/Export.h"

/// A block of at least `size` usable bytes at a multiple of 16, released with `CPUAlignedDelete`.
/// It is one block of `operator new(size + 32)`, whose address stands in the word just below the
/// result. Throws `std::bad_alloc`, also for sizes near the top of the range.
VORN_EXPORT void* CPUAlignedNew(unsigned long size);

/// Releases a block from `CPUAlignedNew`; null does nothing. Any other pointer is the caller's
/// error.
VORN_EXPORT void CPUAlignedDelete(void* block) noexcept;
