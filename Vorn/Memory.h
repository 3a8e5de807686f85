// Memory: the global allocation operators and 16-byte-aligned blocks.
//
// The library defines and exports every replaceable form of the global `operator new` and `operator
// delete`; all end in the platform's memory services. Plain forms pass `std::bad_alloc` on and end
// the process for any other exception; nothrow forms return null whatever the services throw.
// There is no new-handler and no retry. All are as thread-safe as those services.
//
// A program may replace some of them, as the standard allows. Each of the others calls the plain
// form of its kind: arrays `new[]`, aligned blocks the aligned `new`, and those two the plain
// `new`; releasing likewise. So a program that replaces a form and its `delete` gets back the
// blocks that it made.
#pragma once

#include "platform/Export.h"

/// A block of at least `size` usable bytes at a multiple of 16; release it with `CPUAlignedDelete`.
/// It lies in a block of `operator new(size + 32)`, whose address is in the word just below the
/// result. Throws `std::bad_alloc`, also for sizes near the top of the range.
VORN_EXPORT void* CPUAlignedNew(unsigned long size);

/// Releases a block from `CPUAlignedNew`; null is ignored. Any other pointer is the caller's error.
VORN_EXPORT void CPUAlignedDelete(void* block) noexcept;
