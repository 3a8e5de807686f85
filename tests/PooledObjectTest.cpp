#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "Vorn/Vorn.h"
#include "tests/support/TestPlatform.h"

namespace {

using namespace Vorn::PooledObjectDebug;
using Logger = LoggingTraitsBase;

std::string lineOf(const std::string& name, int maxInUse = 0, const std::string& rate = "0.00",
                   const std::string& atMs = "0.00", std::time_t peak = 0) {
    return name + ": maxInUse " + std::to_string(maxInUse) + " Peak Demand " + rate +
           " allocs/sec @ " + atMs + " " + std::asctime(std::localtime(&peak));
}

// The logs of this process and of its children.
struct Logs {
    Logs() { std::filesystem::create_directories(folder); }
    // Headers are taken out and counted.
    std::string takeReport() {
        const std::filesystem::path path = folder / "PooledObjects.log";
        std::string report(std::istreambuf_iterator<char>(std::ifstream(path).rdbuf()), {});
        std::filesystem::remove(path);
        const std::string rule = "\n" + std::string(59, '-') + " ";
        constexpr std::size_t kDateSize = sizeof "Thu Jan  1 00:00:00 1970\n\n" - 1;
        std::size_t header = report.find(rule);
        while (header != report.npos) {
            report.erase(header, rule.size() + kDateSize);
            ++headers;
            header = report.find(rule, header);
        }
        return report;
    }

    unsigned headers = 0;
    const test::TemporaryFolder temporary;
    const std::string root = temporary.path / "";
    const std::filesystem::path folder = temporary.path / "Vornhold/Logs";
    const test::Folder installation{root};
};

void buildOfEachKind() {
    new Logger("oldest");
    static const Logger inStatic("static");
    { const Logger early("early"); }
    new Logger("newest");
}

void exitOnAnotherThread() {
    std::jthread([] {
        buildOfEachKind();
        std::exit(0);
    });
}

void closeModule() {
    new Logger("program");
    void* const module = dlopen(VORN_LOGGER_MODULE, RTLD_NOW | RTLD_LOCAL);
    if (!module || dlclose(module) != 0) std::exit(1);
    new Logger("after module");
}

// While its folder is missing, reports are lost and nothing is made.
void reportLate() {
    const std::filesystem::path folder = Vorn::PathsLite::getSystemLogsPath();
    Logger logger("late");
    std::filesystem::remove(folder);
    logger.dump();
    if (!std::filesystem::create_directory(folder.parent_path())) std::exit(1);
}

// One while static objects end, others on a thread that goes on while exit does.
void buildAtExit() {
    static const struct AtExit {
        // NOLINTNEXTLINE(bugprone-unhandled-exception-at-new): the process may end then.
        ~AtExit() { new Logger("exiting"); }
    } atExit;
    static std::atomic<int> count = 0;
    std::thread([] {
        while (++count < 2000) new Logger("exiting");
    }).detach();
    while (count < 2) std::this_thread::yield();
}

void reportOften() {
    Logger logger(std::string(60000, 'x').c_str());
    for (int n = 0; n < 200; ++n) logger.dump();
}

// What the system answers to those who register something for the exit.
bool handlersRefused = false;

// The oldest is reported by its own handler, not by one of a logger that has none.
void buildWithoutHandler() {
    new Logger("older");
    handlersRefused = true;
    const bool reached = std::atexit([] {}) != 0;  // A sanitizer takes what is registered itself.
    // Volatile, or the compiler drops the pointer, and the logger counts as leaked.
    [[maybe_unused]] static const Logger* volatile unreported = nullptr;
    if (reached) unreported = new Logger("without handler");
    handlersRefused = false;
}

void runInChildren(void (*build)(), unsigned processes) {
    for (unsigned child = 0; child < processes; ++child) {
        if (::fork() != 0) continue;
        build();
        std::exit(0);
    }
    for (int status = 0; ::wait(&status) > 0;) EXPECT_EQ(status, 0);
}

// The first tests, since a process writes one header, and its children none after it.
TEST(PooledObject, ProcessesReportLoggersOnceNewestFirst) {
    const struct {
        const char* way;
        void (*build)();
        unsigned processes;
        std::vector<std::string> names;
    } rows[] = {
        {"each kind", buildOfEachKind, 1, {"early", "newest", "static", "oldest"}},
        {"by thread", exitOnAnotherThread, 1, {"early", "newest", "static", "oldest"}},
        {"module", closeModule, 1, {"module", "after module", "left by module", "program"}},
        {"folder missing", reportLate, 1, {"late"}},
        {"no handler", buildWithoutHandler, 1, {"older"}},
        {"at once", reportOften, 2, std::vector<std::string>(402, std::string(60000, 'x'))},
    };
    for (const auto& [way, build, processes, names] : rows) {
        Logs logs;
        runInChildren(build, processes);
        const std::string report = logs.takeReport();
        std::string expected;
        for (const std::string& name : names) expected += lineOf(name);
        EXPECT_TRUE(report == expected) << way << ":\n" << report.substr(0, 999);
        EXPECT_EQ(logs.headers, processes) << way;
    }
}

TEST(PooledObject, LoggersBuiltDuringTheExitAreReportedOrNot) {
    Logs logs;
    runInChildren(buildAtExit, 1);
    std::string report = logs.takeReport();
    const std::string line = lineOf("exiting");
    while (report.ends_with(line)) report.resize(report.size() - line.size());
    EXPECT_EQ(report, "") << "nothing but whole lines";
    EXPECT_EQ(logs.headers, 1u);
}

struct Use {
    double ms;
    int change;  // So many pops, or pushes if it is negative.
};

TEST(PooledObject, MeasuresDemand) {
    const struct {
        double createdMs;
        std::vector<Use> uses;
        int inUse, maxInUse;
        const char *rate, *atMs;
        double clockStep = 0;  // By which the clock goes on at each reading.
    } rows[] = {
        {1, {{7501, 5}, {7501, -4}, {7501, 2}}, 3, 5, "0.00", "0.00"},
        {1, {{7502, 1}, {7602, 4}, {7603, 1}}, 6, 6, "49.50", "7603.00"},
        {0, {{8000, 1}, {8200, 2}, {8400, 1}}, 4, 4, "10.00", "8400.00"},
        {0, {{8000, 1}, {8200, 1}, {8400, 1}, {8700, 1}}, 4, 4, "5.00", "8200.00"},
        {-8000, {{50, 2}, {150, 1}}, 3, 3, "13.33", "150.00"},
        // Five readings in a pop that sets a peak: age, interval twice, peak, next interval.
        {0, {{8000, 1}, {8200, 1}}, 2, 2, "5.03", "8204.00", 1},
    };
    Logs logs;
    for (const auto& row : rows) {
        SCOPED_TRACE("peak expected at " + std::string(row.atMs) + ", rate " + row.rate);
        test::Clock clock(row.createdMs);
        auto logger = std::make_unique<Logger>("pool");
        const auto& stats = *reinterpret_cast<LoggingStats* const*>(logger.get())[1];
        clock.step = row.clockStep;
        for (const Use& use : row.uses) {
            clock.ms = use.ms;
            for (int pops = 0; pops < use.change; ++pops) {
                logger->ltb_beforePop(0);
                logger->ltb_afterPop(nullptr, 0);
            }
            for (int pushes = 0; pushes < -use.change; ++pushes) {
                logger->ltb_beforePush(nullptr, 0);
                logger->ltb_afterPush(nullptr, 0);
            }
        }
        const std::time_t peak = stats.peakWallClock;
        EXPECT_EQ(stats.inUse, row.inUse);
        EXPECT_LT((stats.peakAtMs > 0 ? std::time(nullptr) : 0) - peak, 60);
        logger.reset();
        EXPECT_EQ(logs.takeReport(), lineOf("pool", row.maxInUse, row.rate, row.atMs, peak));
    }
}

// While the report's lock is held nobody may enter another: a factory holds the registry's, and may
// report.
struct OneLock : test::Folder, test::Threads {
    OneLock(const std::string& name, CriticalSection& shared) : Folder(name), lock(shared) {}
    // Who writes a report asks for its folder, and holds the lock that all modules share.
    WString getFolderPath(int code) override {
        ++reports;
        EXPECT_EQ(lock.owner(), posix::threadServices->currentThreadId());
        return Folder::getFolderPath(code);
    }
    // Who enters a lock asks which thread it is.
    unsigned currentThreadId() override {
        const unsigned caller = Threads::currentThreadId();
        EXPECT_NE(lock.owner(), caller) << "has entered another lock than the report's";
        return caller;
    }

    CriticalSection& lock;
    int reports = 0;
};

TEST(PooledObject, ReportsUnderTheSharedLockAlone) {
    const Logs logs;
    const OneLock held(
        logs.root,
        *Vorn::NamedObjectsNamespace::getGlobalNamespaceInstance()->findOrCreate<CriticalSection>(
            "PooledObjects.log_FileAccessLock"));
    {
        Logger logger("pool");
        logger.dump();
        EXPECT_EQ(held.reports, 1);
    }
    EXPECT_EQ(held.reports, 2);
    const Logger atExit("at exit");
    LoggingTraitsBase_exit();
    EXPECT_EQ(held.reports, 3);
}

TEST(PooledObject, ReportsInTheTimeZoneOfTheMoment) {
    Logs logs;
    Logger logger("pool");
    for (const auto& [zone, time] : {std::pair("UTC0", "Thu Jan  1 00:00:00 1970\n"),
                                     std::pair("HERE5", "Wed Dec 31 19:00:00 1969\n")}) {
        ::setenv("TZ", zone, 1);
        logger.dump();
        EXPECT_TRUE(logs.takeReport().ends_with(time)) << zone;
    }
}

}  // namespace

// Stands before the C library's, which passes registrations of `atexit` on to it.
extern "C" VORN_EXPORT int __cxa_atexit(void (*handler)(void*), void* argument, void* module) {
    using Register = decltype(&__cxa_atexit);
    static const auto next = reinterpret_cast<Register>(::dlsym(RTLD_NEXT, "__cxa_atexit"));
    return handlersRefused ? -1 : next(handler, argument, module);
}
