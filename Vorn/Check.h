// Failures and time: checks of result codes.
#pragma once

#include "platform/Export.h"

/// A result code is a signed 32-bit value, negative for failure. Callers pass their own source
/// file, line and the text of the checked expression.
namespace Vorn::Check::Private {

/// Whether `code` means success. A failure is logged with `LogTimed` as
/// "VornCheck: FILE(LINE) [EXPRESSION] = 0xCODE". `flag` is ignored. One thread at a time may log.
VORN_EXPORT bool checkAndLog(int code, const char* file, int line, const char* expression,
                             bool flag);

/// The same, but first logs "VornCheck: FILE(LINE) [EXPRESSION] took ELAPSED" if `threshold` is
/// above 0 and `elapsed` has reached it. Both are in the same unit, of the caller's choice.
VORN_EXPORT bool checkAndLog(int code, const char* file, int line, const char* expression,
                             bool flag, double threshold, double elapsed);

/// Throws a `RuntimeError` with the message "VornCheck: FILE(LINE) [EXPRESSION] = 0xCODE", cut to
/// 255 characters. Messages live as long as the process; equal ones are stored once. Throws
/// `std::bad_alloc` instead if a new one cannot be stored. Any thread may call it.
[[noreturn]] VORN_EXPORT void throwDetailed(const char* file, int line, const char* expression,
                                            int code);

/// The same with the message "VornCheck: FILE(LINE) FAILED with code 0xCODE".
[[noreturn]] VORN_EXPORT void throwShort(const char* file, int line, int code);

/// Whether checks are to log in debug builds: true.
VORN_EXPORT bool logInDebug();

}  // namespace Vorn::Check::Private
