#include "Vorn/PooledObjectDebug.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <type_traits>

#include "Vorn/CriticalSection.h"
#include "Vorn/PathsLite.h"
#include "Vorn/Ptr.h"
#include "Vorn/String.h"
#include "Vorn/Time.h"
#include "Vorn/VornNamedObjects.h"
#include "platform/OS.h"
#include "platform/iAtomicServices.h"

namespace Vorn::PooledObjectDebug {

static_assert(offsetof(LoggingStats, name) == 0);
static_assert(offsetof(LoggingStats, inUse) == 8);
static_assert(offsetof(LoggingStats, maxInUse) == 12);
static_assert(offsetof(LoggingStats, allocsInInterval) == 16);
static_assert(offsetof(LoggingStats, intervalStartMs) == 24);
static_assert(offsetof(LoggingStats, peakRatePerMs) == 32);
static_assert(offsetof(LoggingStats, peakAtMs) == 40);
static_assert(offsetof(LoggingStats, peakWallClock) == 48);
static_assert(offsetof(LoggingStats, createdMs) == 56);
static_assert(sizeof(LoggingStats) == 64);
static_assert(offsetof(LTBStackNode, next) == 0);
static_assert(offsetof(LTBStackNode, logger) == 8);
static_assert(sizeof(LockFree::Stack<LTBStackNode>) == 16);
static_assert(sizeof(LoggingTraitsBase) == 16);

constinit LockFree::Stack<LTBStackNode> gAllLoggers;

namespace {

constexpr double kWarmUpMs = 7500.0;
constexpr double kIntervalMs = 100.0;

template <class T>
T get(T& figure) {
    return std::atomic_ref(figure).load(std::memory_order_relaxed);
}

template <class T>
void set(T& figure, std::type_identity_t<T> value) {
    std::atomic_ref(figure).store(value, std::memory_order_relaxed);
}

// Found by every module of the process under this name. It is looked up before it is entered, and
// nothing asks the registry while it is held: a factory, which runs under a lock of the registry,
// may report too.
CriticalSection& reportLock() {
    return *NamedObjectsNamespace::getGlobalNamespaceInstance()->findOrCreate<CriticalSection>(
        "PooledObjects.log_FileAccessLock");
}

struct CloseFile {
    void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};

struct FreeStats {
    void operator()(LoggingStats* stats) const noexcept {
        delete[] stats->name;
        delete stats;
    }
};

// Local calendar time as `asctime` writes it, line end included.
struct CalendarText {
    explicit CalendarText(std::time_t time) {
        std::tm fields{};
        tzset();  // As `localtime` does, unlike its re-entrant form.
        localtime_r(&time, &fields);
        asctime_r(&fields, text);
    }
    char text[64];
};

// Appends the line of a pool, behind the header of the process if that is still to come. The
// caller holds the report's lock.
void appendReport(LoggingStats& stats) {
    static bool headerDone = false;
    const String path((PathsLite::getSystemLogsPath() + L"PooledObjects.log").c_str());
    // What is written here goes out in one piece, so that processes leave each other's lines whole.
    static char buffer[1 << 16];
    const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path, "a+t"));
    if (!file) return;
    std::setvbuf(file.get(), buffer, _IOFBF, sizeof buffer);
    if (!headerDone) {
        std::fprintf(file.get(),
                     "\n----------------------------------------------------------- %s\n",
                     CalendarText(std::time(nullptr)).text);
        headerDone = true;
    }
    std::fprintf(file.get(), "%s: maxInUse %d Peak Demand %.2f allocs/sec @ %.2f %s", stats.name,
                 get(stats.maxInUse), get(stats.peakRatePerMs) * 1000.0, get(stats.peakAtMs),
                 CalendarText(get(stats.peakWallClock)).text);
}

}  // namespace

LoggingTraitsBase::LoggingTraitsBase(const char* name) {
    if (!name) name = "";
    const std::size_t size = std::strlen(name) + 1;
    std::unique_ptr<LoggingStats, FreeStats> record(new LoggingStats{});
    record->createdMs = now();
    record->name = new char[size];
    std::memcpy(record->name, name, size);
    std::unique_ptr<LTBStackNode> node(new LTBStackNode{nullptr, this});

    stats = record.release();
    // The handler first: exit may begin at any moment and must not find more loggers than handlers.
    // A process that is past its handlers takes no more, and nobody would report the logger then.
    if (std::atexit(LoggingTraitsBase_exit) == 0) gAllLoggers.push(node.release());
}

LoggingTraitsBase::~LoggingTraitsBase() {
    const EasyCrit guard(reportLock());
    appendReport(*stats);
    // Keeps the exit handlers away from this logger. Nodes stay where they are for good.
    LTBStackNode* node = gAllLoggers.top();
    while (node && node->logger != this) node = node->next;
    if (node) node->logger = nullptr;
    FreeStats()(stats);
}

void LoggingTraitsBase::dump() {
    const EasyCrit guard(reportLock());
    appendReport(*stats);
}

void LoggingTraitsBase::ltb_beforePush(void*, unsigned long) {}

void LoggingTraitsBase::ltb_afterPush(void*, unsigned long) {
    OS()->atomicServices()->decrement(&stats->inUse);
}

void LoggingTraitsBase::ltb_beforePop(unsigned long) {}

void LoggingTraitsBase::ltb_afterPop(void*, unsigned long) {
    OS()->atomicServices()->increment(&stats->inUse);
    const std::int32_t inUse = get(stats->inUse);
    if (inUse > get(stats->maxInUse)) set(stats->maxInUse, inUse);

    if (!(now() - stats->createdMs > kWarmUpMs)) return;
    if (!(now() - get(stats->intervalStartMs) > kIntervalMs)) {
        OS()->atomicServices()->increment(&stats->allocsInInterval);
        return;
    }
    const double elapsed = now() - get(stats->intervalStartMs);
    const double rate = get(stats->allocsInInterval) / elapsed;
    if (rate > get(stats->peakRatePerMs)) {
        set(stats->peakRatePerMs, rate);
        set(stats->peakAtMs, now());
        set(stats->peakWallClock, std::time(nullptr));
    }
    set(stats->intervalStartMs, now());
    set(stats->allocsInInterval, 1);
}

void LoggingTraitsBase_exit() {
    static LTBStackNode* reported = nullptr;  // Nodes are kept, where leak checkers find them.
    const EasyCrit guard(reportLock());
    LTBStackNode* const node = gAllLoggers.pop();
    if (!node) return;
    node->next = reported;
    reported = node;
    if (node->logger) appendReport(*node->logger->stats);
}

}  // namespace Vorn::PooledObjectDebug
