#include "Vorn/LogTimed.h"

#include <cstdarg>
#include <cstdio>

#include "Vorn/Time.h"

namespace Vorn {

void LogTimed(const char* format, ...) {
    static char text[4096];
    static double start = 0.0;  // Milliseconds; 0 until the first call.

    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);

    const double time = now();
    if (start == 0.0) start = now();
    std::printf("%-9.3f: %s", (time - start) / 1000.0, text);
}

}  // namespace Vorn
