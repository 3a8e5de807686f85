#include "Vorn/PooledObjectDebug.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/TestPlatform.h"

namespace {

using namespace Vorn::PooledObjectDebug;

const LoggingStats& statsOf(const LoggingTraitsBase& logger) {
    return *reinterpret_cast<LoggingStats* const*>(&logger)[1];
}

std::string lineOf(const std::string& name, unsigned maxInUse = 0, const std::string& rate = "0.00",
                   const std::string& atMs = "0.00", std::time_t peak = 0) {
    return name + ": maxInUse " + std::to_string(maxInUse) + " Peak Demand " + rate +
           " allocs/sec @ " + atMs + " " + std::asctime(std::localtime(&peak));
}

// A folder of their own for the logs of this process and of the programs that it runs.
struct Logs : iPathServices {
    Logs() { std::filesystem::create_directories(path + "Vornhold/Logs"); }
    ~Logs() override { std::filesystem::remove_all(path); }
    WString getFolderPath(int) override { return WString(path.begin(), path.end()); }
    void run(const std::string& mode) {
        const std::string program = "' '" VORN_LOGGERS_PROGRAM "' " + mode;
        EXPECT_EQ(std::system(("XDG_STATE_HOME='" + path + program).c_str()), 0) << mode;
    }
    std::string takeReport();

    const std::string path = testing::TempDir() + "vorn" + std::to_string(::getpid()) + "/";
    unsigned headers = 0;
    test::Override<iPathServices> installation{this};
};

// Headers are taken out and counted.
std::string Logs::takeReport() {
    std::ifstream file(path + "Vornhold/Logs/PooledObjects.log");
    std::string report(std::istreambuf_iterator<char>(file), {});
    std::filesystem::remove(path + "Vornhold/Logs/PooledObjects.log");
    const std::string rule = "\n" + std::string(59, '-') + " ",
                      date = "Thu Jan  1 00:00:00 1970\n\n";
    for (std::size_t at; (at = report.find(rule)) != report.npos; ++headers)
        report.erase(at, rule.size() + date.size());
    return report;
}

void use(LoggingTraitsBase& logger, int pops) {
    for (; pops > 0; --pops) logger.ltb_beforePop(0), logger.ltb_afterPop(nullptr, 0);
    for (; pops < 0; ++pops) logger.ltb_beforePush(nullptr, 0), logger.ltb_afterPush(nullptr, 0);
}

TEST(PooledObject, MeasuresDemand) {
    const struct {
        double createdMs;
        std::vector<std::pair<double, int>> uses;  // Pops at a time, pushes where negative.
        unsigned increments, maxInUse;
        const char *rate, *atMs;
    } rows[] = {
        {1, {{7501, 5}, {7501, -4}, {7501, 2}}, 7, 5, "0.00", "0.00"},
        {1, {{7502, 1}, {7602, 4}, {7603, 1}}, 10, 6, "49.50", "7603.00"},
        {0, {{8000, 1}, {8200, 2}, {8400, 1}}, 5, 4, "10.00", "8400.00"},
        {0, {{8000, 1}, {8200, 1}, {8400, 1}, {8700, 1}}, 4, 4, "5.00", "8200.00"},
        {-8000, {{50, 2}, {150, 1}}, 5, 3, "13.33", "150.00"},
    };
    Logs logs;
    for (const auto& row : rows) {
        test::FixedClock clock(row.createdMs);
        auto logger = std::make_unique<LoggingTraitsBase>("pool");
        const LoggingStats& stats = statsOf(*logger);
        const test::RecordingAtomics atomics;
        for (const auto& [ms, pops] : row.uses) clock.ms = ms, use(*logger, pops);
        EXPECT_EQ(atomics.increments, row.increments);
        const std::string line =
            lineOf("pool", row.maxInUse, row.rate, row.atMs, stats.peakWallClock);
        EXPECT_LT((stats.peakAtMs > 0 ? std::time(nullptr) : 0) - stats.peakWallClock, 60);
        logger.reset();
        EXPECT_EQ(logs.takeReport(), line);
    }
}

TEST(PooledObject, ThreadsLoseNoCount) {
    const Logs logs;
    auto past = std::make_unique<test::FixedClock>(-10000.0);
    LoggingTraitsBase logger("measured from the start");
    past.reset();
    std::vector<std::jthread> threads;
    while (threads.size() < 4)
        threads.emplace_back([&logger] {
            for (int n = 0; n < 100000; ++n) use(logger, 1), use(logger, -1);
            logger.dump();
        });
    threads.clear();
    EXPECT_EQ(statsOf(logger).inUse, 0);
    EXPECT_LE(statsOf(logger).maxInUse, 4);
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
        {"late", 1, {"late"}},
        {"exiting", 1, {}},
        {"often", 2, std::vector<std::string>(402, std::string(60000, 'x'))},
    };
    for (const auto& [mode, processes, names] : rows) {
        Logs logs;
        std::vector<std::jthread> runs;
        while (runs.size() < processes) runs.emplace_back(&Logs::run, &logs, mode);
        runs.clear();
        std::string expected;
        for (const std::string& name : names) expected += lineOf(name);
        std::string report = logs.takeReport();
        while (names.empty() && report.ends_with(lineOf(mode)))  // As many as there were.
            report.resize(report.size() - lineOf(mode).size());
        EXPECT_TRUE(report == expected) << mode;
        EXPECT_EQ(logs.headers, processes) << mode;
    }
}

}  // namespace
