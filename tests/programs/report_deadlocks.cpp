// Pools report while others use the registry, in the ways in which the two once waited for each
// other for ever: report_deadlocks WAY. Ends with 0, or not at all.

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "Vorn/PooledObjectDebug.h"
#include "Vorn/VornNamedObjects.h"

namespace {

using Vorn::NamedObjectsNamespace;
using Vorn::PooledObjectDebug::LoggingTraitsBase;

constexpr int kRounds = 3000;
constexpr char kReportLock[] = "PooledObjects.log_FileAccessLock";

NamedObjectsNamespace& registry() {
    return *NamedObjectsNamespace::getGlobalNamespaceInstance();
}

// Factories run under the registry's lock where the key is fresh.
void* makeBesideLogger() {
    const LoggingTraitsBase logger("in a factory");
    return new int(0);
}

void* makeBesideReport() {
    static LoggingTraitsBase* const logger = new LoggingTraitsBase("dumped in a factory");
    logger->dump();
    return new int(0);
}

void useFreshKeys(const std::string& prefix, int rounds, NamedObjectsNamespace::Factory make) {
    for (int round = 0; round < rounds; ++round)
        delete registry().findOrCreate<int>((prefix + std::to_string(round)).c_str(), make);
}

void destroyLoggers(int rounds) {
    for (int round = 0; round < rounds; ++round) {
        const LoggingTraitsBase logger("destroyed");
    }
}

void destroyBesideFactories() {
    std::jthread first([] { destroyLoggers(kRounds); });
    std::jthread second([] { destroyLoggers(kRounds); });
    useFreshKeys("key ", kRounds / 10, makeBesideLogger);
}

// The workers are still at it when exit handlers report.
void exitBesideFactories() {
    for (int number = 0; number < 300; ++number) new LoggingTraitsBase("alive at exit");
    static std::atomic<int> working = 0;
    for (const char* const prefix : {"first ", "second "}) {
        std::thread([prefix] {
            ++working;
            useFreshKeys(prefix, kRounds, makeBesideReport);
        }).detach();
    }
    while (working < 2) std::this_thread::yield();
}

void holdTheReportsKey() {
    std::jthread destroying([] { destroyLoggers(10 * kRounds); });
    LoggingTraitsBase logger("dumped");
    for (int round = 0; round < 10 * kRounds; ++round) {
        registry().lock<CriticalSection>(kReportLock);
        logger.dump();
        registry().unlock<CriticalSection>(kReportLock);
    }
}

}  // namespace

int main(int, char** arguments) {
    ::alarm(60);
    const std::string_view way = arguments[1];
    if (way == "destructors") destroyBesideFactories();
    if (way == "exit") exitBesideFactories();
    if (way == "key") holdTheReportsKey();
    return 0;
}
