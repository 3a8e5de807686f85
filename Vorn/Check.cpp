#include "Vorn/Check.h"

#include <atomic>
#include <cstdio>
#include <cstring>
#include <memory>

#include "Vorn/Exception.h"
#include "Vorn/LogTimed.h"

namespace Vorn::Check::Private {
namespace {

constexpr std::size_t kMessageBytes = 256;

struct KeptMessage {
    std::unique_ptr<char[]> text;
    KeptMessage* next;
};

// Exceptions do not own their texts, so messages are never freed. The list only grows at its head.
constinit std::atomic<KeptMessage*> keptMessages{nullptr};

const char* findKept(const char* text) {
    for (KeptMessage* kept = keptMessages.load(std::memory_order_acquire); kept; kept = kept->next)
        if (std::strcmp(kept->text.get(), text) == 0) return kept->text.get();
    return nullptr;
}

const char* keep(const char* text) {
    if (const char* kept = findKept(text)) return kept;
    auto message = std::make_unique<KeptMessage>();
    message->text.reset(new char[kMessageBytes]);
    std::strcpy(message->text.get(), text);
    message->next = keptMessages.load(std::memory_order_relaxed);
    while (!keptMessages.compare_exchange_weak(
        message->next, message.get(), std::memory_order_release, std::memory_order_relaxed)) {
    }
    return message.release()->text.get();
}

}  // namespace

bool checkAndLog(int code, const char* file, int line, const char* expression, bool) {
    if (code >= 0) return true;
    LogTimed("VornCheck: %s(%d) [%s] = 0x%08x\n", file, line, expression,
             static_cast<unsigned>(code));
    return false;
}

bool checkAndLog(int code, const char* file, int line, const char* expression, bool flag,
                 double threshold, double elapsed) {
    if (threshold > 0 && elapsed >= threshold)
        LogTimed("VornCheck: %s(%d) [%s] took %.2f\n", file, line, expression, elapsed);
    return checkAndLog(code, file, line, expression, flag);
}

void throwDetailed(const char* file, int line, const char* expression, int code) {
    char text[kMessageBytes];
    std::snprintf(text, sizeof text, "VornCheck: %s(%d) [%s] = 0x%08x", file, line, expression,
                  static_cast<unsigned>(code));
    throw Exception::RuntimeError(keep(text), file, line);
}

void throwShort(const char* file, int line, int code) {
    char text[kMessageBytes];
    std::snprintf(text, sizeof text, "VornCheck: %s(%d) FAILED with code 0x%08x", file, line,
                  static_cast<unsigned>(code));
    throw Exception::RuntimeError(keep(text), file, line);
}

bool logInDebug() {
    return true;
}

}  // namespace Vorn::Check::Private
