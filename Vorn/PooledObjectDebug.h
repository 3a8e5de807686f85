// Pool diagnostics: what a pool of objects was used for, reported to "PooledObjects.log".
#pragma once

#include <cstdint>
#include <ctime>

#include "Vorn/LockFreeStack.h"
#include "platform/Export.h"

namespace Vorn::PooledObjectDebug {

class LoggingTraitsBase;

/// The figures of one pool. Times are milliseconds of `Vorn::now()`, rates pops a millisecond. The
/// hooks read and write them without a lock, so that pops on several threads may overwrite each
/// other's; only the two counts changed by the atomic services are exact.
struct LoggingStats {
    char* name;                     ///< A copy, from `new[]`.
    std::int32_t inUse;             ///< Objects handed out and not yet taken back.
    std::int32_t maxInUse;          ///< Highest `inUse` seen after a pop.
    std::int32_t allocsInInterval;  ///< Pops in the current measuring interval.
    double intervalStartMs;         ///< When that opened; 0 before the first.
    double peakRatePerMs;           ///< Highest rate seen.
    double peakAtMs;                ///< When that was.
    std::time_t peakWallClock;      ///< The same as calendar time.
    double createdMs;               ///< When the logger was constructed.
};

/// A logger's place on `gAllLoggers`, never freed. `logger` is null once that is destroyed; it is
/// read and cleared under the report's lock.
struct LTBStackNode {
    LTBStackNode* next;
    LoggingTraitsBase* logger;
};

/// The diagnostics half of a pool, which calls the four hooks around every object that it takes
/// back (push) and hands out (pop), on any thread. For the first 7.5 seconds of a logger's life no
/// rate is measured; then in intervals of more than 100 ms.
///
/// Each logger appends one line to "PooledObjects.log" in the system logs folder when it is
/// destroyed and, if it is alive then, when the process exits, newest first. The file is only ever
/// appended to, under one lock for the process; where it cannot be opened nothing is reported. Not
/// copyable.
///
/// That lock is the `CriticalSection` "PooledObjects.log_FileAccessLock" of the global namespace.
/// It is looked up there before it is entered, and nothing asks the registry while it is held. So a
/// factory may build, report and destroy loggers, unless another thread has taken the key by `lock`
/// and goes on to use the registry. A thread that holds the report's lock must not ask the
/// registry.
class VORN_EXPORT LoggingTraitsBase {
public:
    /// `name`, which is copied, stands for the pool in the report; null reads as "". Throws
    /// `std::bad_alloc`.
    explicit LoggingTraitsBase(const char* name);
    /// Reports. An exception from that ends the process.
    virtual ~LoggingTraitsBase();
    LoggingTraitsBase(const LoggingTraitsBase&) = delete;
    LoggingTraitsBase& operator=(const LoggingTraitsBase&) = delete;

    /// Appends the logger's line, behind a header that each process writes once. Any thread; throws
    /// `std::bad_alloc`.
    void dump();

    /// The arguments are the pool's own and are ignored. The hooks allocate nothing, take no lock
    /// and do not fail.
    void ltb_beforePush(void* object, unsigned long n);
    void ltb_afterPush(void* object, unsigned long n);
    void ltb_beforePop(unsigned long n);
    void ltb_afterPop(void* object, unsigned long n);

protected:
    LoggingStats* stats;  ///< The pool's own figures.

private:
    friend void LoggingTraitsBase_exit();
};

/// The exit handler that every logger registers: takes one node off `gAllLoggers` and reports its
/// logger, if that is alive.
VORN_EXPORT void LoggingTraitsBase_exit();

/// Every logger ever constructed, newest on top.
VORN_EXPORT extern LockFree::Stack<LTBStackNode> gAllLoggers;

}  // namespace Vorn::PooledObjectDebug
