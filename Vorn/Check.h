// Failures and time: checks of result codes.
#pragma once

#include "platform/Export.h"

/// A result code is a signed 32-bit value, negative for failure. Callers pass their own source
/// file, line and the text of the checked expression.
namespace Vorn::Check::Private {

/// Whether `code` means success; a failure is logged with `LogTimed` as
/// "VornCheck: FILE(LINE) [EXPRESSION] = 0xCODE". `flag` is not consulted. For one thread at a time
/// where it logs.
VORN_EXPORT bool checkAndLog(int code, const char* file, int line, const char* expression,
                             bool flag);

/// The same, after logging "VornCheck: FILE(LINE) [EXPRESSION] took ELAPSED" if `threshold` is
/// above 0 and `elapsed` reached it. Both are in one unit of the caller's choice.
VORN_EXPORT bool checkAndLog(int code, const char* file, int line, const char* expression,
                             bool flag, double threshold, double elapsed);

/// Throws a `RuntimeError` with the message "VornCheck: FILE(LINE) [EXPRESSION] = 0xCODE", cut to
/// 255 characters. Messages stay for the life of the process; equal ones are stored once. Throws
/// `std::bad_alloc` instead when a new one cannot be stored. Any thread may call it.
[[noreturn]] VORN_EXPORT void throwDetailed(const char* file, int line, const char* expression,
                                            int code);

/// The same with the message "VornCheck: FILE(LINE) FAILED with code 0xCODE".
[[noreturn]] VORN_EXPORT void throwShort(const char* file, int line, int code);

/// Whether checks are to log in debug builds: true.
VORN_EXPORT bool logInDebug();

}  // namespace Vorn::Check::Private
