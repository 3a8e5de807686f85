#include "Vorn/PooledObjectDebug.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <latch>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/TestPlatform.h"

namespace {

using namespace Vorn::PooledObjectDebug;
using Logger = LoggingTraitsBase;

template <class T>
T fieldOf(const auto& object, std::size_t index) {
    return reinterpret_cast<const T*>(&object)[index];
}

std::string calendarText(std::time_t time) {
    return std::asctime(std::localtime(&time));
}

std::string idleLine(const std::string& name) {
    return name + ": maxInUse 0 Peak Demand 0.00 allocs/sec @ 0.00 " + calendarText(0);
}

// A folder of their own for the logs of this process and of the programs that it runs.
struct Logs : iPathServices {
    Logs() { std::filesystem::create_directories(path + "Vornhold/Logs"); }
    ~Logs() override { std::filesystem::remove_all(path); }
    WString getFolderPath(int id) override {
        return id == 4 ? WString(path.begin(), path.end()) : L"";
    }
    void run(const std::string& mode) {
        const std::string command =
            "XDG_STATE_HOME='" + path + "' '" VORN_LOGGERS_PROGRAM "' " + mode;
        EXPECT_EQ(std::system(command.c_str()), 0) << mode;
    }
    std::string takeReport();

    const std::string path = testing::TempDir() + "vorn" + std::to_string(::getpid()) + "/";
    unsigned headers = 0;
    test::Override<iPathServices> installation{this};
};

// Headers, which are not older than a minute, are taken out and counted.
std::string Logs::takeReport() {
    const std::string file = path + "Vornhold/Logs/PooledObjects.log";
    std::ifstream in(file);
    std::string report(std::istreambuf_iterator<char>(in), {});
    std::filesystem::remove(file);
    for (std::time_t time = std::time(nullptr), last = time - 60; time > last; --time) {
        const std::string header = "\n" + std::string(59, '-') + " " + calendarText(time) + "\n";
        for (std::size_t at; (at = report.find(header)) != report.npos; ++headers)
            report.erase(at, header.size());
    }
    return report;
}

void use(Logger& logger, int pops) {
    for (; pops > 0; --pops) logger.ltb_beforePop(0), logger.ltb_afterPop(nullptr, 0);
    for (; pops < 0; ++pops) logger.ltb_beforePush(nullptr, 0), logger.ltb_afterPush(nullptr, 0);
}

TEST(PooledObject, MeasuresDemand) {
    const struct {
        double createdMs;
        std::vector<std::pair<double, int>> uses;  // Pops at a time, pushes where negative.
        unsigned pops, increments;
        const char *maxInUse, *rate, *atMs;
    } rows[] = {
        {0, {}, 0, 0, "0", "0.00", "0.00"},
        {1, {{7501, 5}, {7501, -4}, {7501, 2}}, 7, 7, "5", "0.00", "0.00"},
        {1, {{7502, 1}, {7602, 4}, {7603, 1}}, 6, 10, "6", "49.50", "7603.00"},
        {0, {{9000, 1}, {9050, 9}, {9999, 1}}, 11, 20, "11", "10.01", "9999.00"},
        {0, {{8000, 1}, {8200, 1}, {8400, 1}, {8700, 1}}, 4, 4, "4", "5.00", "8200.00"},
        {0, {{8000, 1}, {8200, 2}, {8400, 1}}, 4, 5, "4", "10.00", "8400.00"},
        {-8000, {{50, 2}, {150, 1}}, 3, 5, "3", "13.33", "150.00"},
    };
    Logs logs;
    for (const auto& row : rows) {
        test::FixedClock clock(row.createdMs);
        std::string report = "pool";
        auto logger = std::make_unique<Logger>(report.c_str());
        report += std::string(": maxInUse ") + row.maxInUse + " Peak Demand " + row.rate +
                  " allocs/sec @ " + row.atMs + " ";
        const LoggingStats& stats = *fieldOf<LoggingStats*>(*logger, 1);
        {
            const test::RecordingAtomics atomics;
            const test::MemoryLedger ledger;
            for (const auto& [ms, pops] : row.uses) clock.ms = ms, use(*logger, pops);
            EXPECT_EQ(ledger.allocations(), 0u);
            EXPECT_EQ(atomics.increments, row.increments);
            EXPECT_EQ(static_cast<unsigned>(stats.inUse), row.pops - atomics.decrements);
            EXPECT_EQ(clock.readings, 1 + row.pops);
        }
        report += calendarText(stats.peakWallClock);
        EXPECT_LT((stats.peakAtMs > 0 ? std::time(nullptr) : 0) - stats.peakWallClock, 60);
        logger.reset();
        EXPECT_EQ(logs.takeReport(), report);
    }
}

TEST(PooledObject, LoggersAreListedForExit) {
    Logs logs;
    Logger("first");
    const int listed = fieldOf<int>(gAllLoggers, 2);
    test::MemoryLedger ledger;
    for (const std::size_t refused : {1u, 2u, 3u}) {
        ledger.failAt(refused);
        EXPECT_THROW(Logger("refused"), std::bad_alloc);
    }
    EXPECT_EQ(ledger.live(), 0u);
    const Logger alive("alive");
    Logger("dead");
    EXPECT_EQ(fieldOf<int>(gAllLoggers, 2), listed + 2);
    logs.takeReport();
    for (int n = 0; n <= listed + 2; ++n) LoggingTraitsBase_exit();
    EXPECT_EQ(logs.takeReport(), idleLine("alive"));
    EXPECT_EQ(fieldOf<int>(gAllLoggers, 2), 0);
}

struct YieldingAtomics : test::RecordingAtomics {
    void* compareExchangePointer(void** target, void* exchange, void* comparand) override {
        std::this_thread::yield();
        return next->compareExchangePointer(target, exchange, comparand);
    }
};

struct Node {
    Node* next;
    std::atomic<int> pops;
};

TEST(PooledObject, ThreadsLoseNoCountAndNoNode) {
    Logs logs;
    const YieldingAtomics atomics;
    auto past = std::make_unique<test::FixedClock>(-10000.0);
    Logger logger("measured from the start");
    past.reset();
    Vorn::LockFree::Stack<Node> stack;
    std::vector<Node> nodes(200000);
    std::vector<std::jthread> threads;
    std::latch together(4);
    for (std::size_t first = 0; first < 4; ++first)
        threads.emplace_back([&, first] {
            together.arrive_and_wait();
            for (std::size_t n = first; n < nodes.size(); n += 4) {
                use(logger, 1);
                stack.push(&nodes[n]);
                if (n % 3 == 0) ++stack.pop()->pops;
                use(logger, -1);
            }
        });
    threads.clear();
    while (Node* const node = stack.pop()) ++node->pops;
    for (const Node& node : nodes) ASSERT_EQ(node.pops, 1);
    EXPECT_EQ(fieldOf<int>(stack, 2), 0);
    const LoggingStats& stats = *fieldOf<LoggingStats*>(logger, 1);
    EXPECT_TRUE(stats.inUse == 0 && stats.maxInUse >= 1 && stats.maxInUse <= 4);
}

TEST(PooledObjectProcess, ReportsLoggersOnceNewestFirst) {
    const struct {
        const char* mode;
        unsigned processes;
        std::vector<std::string> names;
    } rows[] = {
        {"exit", 1, {"early", "newest", "static", "oldest"}},
        {"exit-elsewhere", 1, {"early", "newest", "static", "oldest"}},
        {"module", 1, {"module", "after module", "left by module", "program"}},
        {"late", 1, {"late", "late"}},
        {"often", 2, std::vector<std::string>(402, std::string(60000, 'x'))},
    };
    for (const auto& [mode, processes, names] : rows) {
        Logs logs;
        std::vector<std::jthread> runs;
        while (runs.size() < processes) runs.emplace_back([&, m = mode] { logs.run(m); });
        runs.clear();
        std::string expected;
        for (const std::string& name : names) expected += idleLine(name);
        EXPECT_TRUE(logs.takeReport() == expected) << mode;
        EXPECT_EQ(logs.headers, processes) << mode;
    }
}

TEST(PooledObjectProcess, ReportsLoggersWhileOthersAreBuilt) {
    Logs logs;
    logs.run("build-at-exit");
    const std::string report = "\n" + logs.takeReport();
    for (int n = 0; n < 400; ++n) {
        const std::string line = "\n" + idleLine(std::to_string(n));
        EXPECT_LT(report.find(line), report.npos);
        EXPECT_EQ(report.find(line), report.rfind(line));
    }
}

}  // namespace
