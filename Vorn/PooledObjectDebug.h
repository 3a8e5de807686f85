// Pool diagnostics: how a pool of objects was used, reported to "PooledObjects.log".
#pragma once

#include <cstdint>
#include <ctime>

#include "Vorn/LockFreeStack.h"
#include "platform/Export.h"

namespace Vorn::PooledObjectDebug {

class LoggingTraitsBase;

/// The figures of one pool. Times are milliseconds of `Vorn::now()`, rates are pops per
/// millisecond. The hooks read and write them without a lock, so pops on several threads may
/// overwrite each other's figures; only the two counts changed by the atomic services are exact.
struct LoggingStats {
    char* name;                     ///< A copy, from `new[]`.
    std::int32_t inUse;             ///< Objects handed out and not yet taken back.
    std::int32_t maxInUse;          ///< Highest `inUse` seen after a pop.
    std::int32_t allocsInInterval;  ///< Pops in the current measuring interval.
    double intervalStartMs;         ///< When that opened; 0 before the first.
    double peakRatePerMs;           ///< Highest rate seen.
    double peakAtMs;                ///< When that was.
    std::time_t peakWallClock;      ///< The same moment as calendar time.
    double createdMs;               ///< When the logger was constructed.
};

/// A logger's node on `gAllLoggers`, never freed. `logger` is null once the logger is destroyed; it
/// is read and cleared under the report's lock.
struct LTBStackNode {
    LTBStackNode* next;
    LoggingTraitsBase* logger;
};

/// The diagnostics half of a pool. The pool calls the four hooks around every object that it takes
/// back (push) and hands out (pop), on any thread. In the first 7.5 seconds of a logger's life no
/// rate is measured; after that, rates are measured in intervals of more than 100 ms. Not copyable.
///
/// Each logger appends one line to "PooledObjects.log" in the system logs folder when it is
/// destroyed, or when the process exits if it is still alive then, newest first. The file is only
/// ever appended to, under one lock for the process. If it cannot be opened, nothing is reported.
///
/// That lock is the `CriticalSection` "PooledObjects.log_FileAccessLock" of the global namespace.
/// It is looked up there before it is entered, and nothing uses the registry while it is held. So a
/// factory may create, report and destroy loggers, unless another thread has taken the key by
/// `lock` and goes on to use the registry. A thread that holds the report's lock must not use the
/// registry.
class VORN_EXPORT LoggingTraitsBase {
public:
    /// Copies `name`, the pool's name in the report; null reads as "". Throws `std::bad_alloc`.
    explicit LoggingTraitsBase(const char* name);
    /// Reports. An exception from reporting ends the process.
    virtual ~LoggingTraitsBase();
    LoggingTraitsBase(const LoggingTraitsBase&) = delete;
    LoggingTraitsBase& operator=(const LoggingTraitsBase&) = delete;

    /// Appends the logger's line, after a header that each process writes once. Any thread; throws
    /// `std::bad_alloc`.
    void dump();

    /// The arguments are for the pool's own use and are ignored. The hooks allocate nothing, take
    /// no lock and do not fail.
    void ltb_beforePush(void* object, unsigned long n);
    void ltb_afterPush(void* object, unsigned long n);
    void ltb_beforePop(unsigned long n);
    void ltb_afterPop(void* object, unsigned long n);

protected:
    LoggingStats* stats;  ///< The pool's own figures.

private:
    friend void LoggingTraitsBase_exit();
};

/// The exit handler that every logger registers: pops one node from `gAllLoggers` and reports its
/// logger, if it is still alive.
VORN_EXPORT void LoggingTraitsBase_exit();

/// Every logger ever constructed, newest on top.
VORN_EXPORT extern LockFree::Stack<LTBStackNode> gAllLoggers;

}  // namespace Vorn::PooledObjectDebug
