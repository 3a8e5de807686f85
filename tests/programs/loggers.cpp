// Builds pool loggers as its argument says, and ends; what they report is for the caller to read.
// Exits with 0 when all else is right.

#include <dlfcn.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

#include "Vorn/PooledObjectDebug.h"

namespace {

using Logger = Vorn::PooledObjectDebug::LoggingTraitsBase;

int buildOfEachKind() {
    new Logger("oldest");
    static const Logger inStatic("static");
    { const Logger early("early"); }
    new Logger("newest");
    return 0;
}

int closeModule() {
    new Logger("program");
    void* const module = dlopen(VORN_LOGGER_MODULE, RTLD_NOW | RTLD_LOCAL);
    if (!module || dlclose(module) != 0) return 1;
    new Logger("after module");
    return 0;
}

// While its folder is missing, reports are lost and nothing is made.
int reportLate(const std::string& folder) {
    Logger logger("late");
    std::filesystem::remove_all(folder);
    logger.dump();
    return std::filesystem::create_directories(folder) ? 0 : 1;
}

// One while static objects end, others on a thread that goes on while main returns.
int buildAtExit() {
    static const struct AtExit {
        ~AtExit() { new Logger("exiting"); }
    } atExit;
    static std::atomic<int> count = 0;
    std::thread([] {
        while (++count < 2000) new Logger("exiting");
    }).detach();
    while (count < 2) std::this_thread::yield();
    return 0;
}

int reportOften() {
    Logger logger(std::string(60000, 'x').c_str());
    for (int n = 0; n < 200; ++n) logger.dump();
    return 0;
}

}  // namespace

int main(int, char** argv) {
    const std::string mode = argv[1];
    if (mode == "exit") return buildOfEachKind();
    if (mode == "exit-elsewhere") std::thread([] { std::exit(buildOfEachKind()); }).join();
    if (mode == "module") return closeModule();
    if (mode == "exiting") return buildAtExit();
    if (mode == "late")
        return reportLate(std::getenv("XDG_STATE_HOME") + std::string("/Vornhold/Logs"));
    return reportOften();
}
