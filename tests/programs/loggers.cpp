// Builds pool loggers as its argument says, and ends; what they report is for the caller to read.
// Exits with 0 when all else is right.

#include <dlfcn.h>

#include <cstdlib>
#include <filesystem>
#include <latch>
#include <string>
#include <thread>

#include "Vorn/PooledObjectDebug.h"
#include "Vorn/VornNamedObjects.h"

// The module has a type of this name.
struct Shared {};

namespace {

using Logger = Vorn::PooledObjectDebug::LoggingTraitsBase;

int buildOfEachKind() {
    new Logger("oldest");
    static const Logger inStatic("static");
    Logger("early");
    new Logger("newest");
    return 0;
}

// Four threads build loggers, each a hundred before the program exits and a hundred about then.
int buildAtExit() {
    static std::latch ready(4);
    for (int first = 0; first < 4; ++first)
        std::thread([first] {
            for (int n = first; n < 800; n += 4) {
                if (n / 4 == 100) ready.count_down();
                new Logger(std::to_string(n).c_str());
            }
        }).detach();
    ready.wait();
    return 0;
}

// The module's own logger ends with the module; the one that it leaves behind does not.
int useModule() {
    new Logger("program");
    void* const module = dlopen(VORN_LOGGER_MODULE, RTLD_NOW | RTLD_LOCAL);
    if (!module) return 1;
    const auto share = reinterpret_cast<const std::type_info* (*)()>(dlsym(module, "share"));
    if (share() == &typeid(Shared)) return 2;
    if (!Vorn::NamedObjectsNamespace::getGlobalNamespaceInstance()->find<Shared>("shared"))
        return 3;
    dlclose(module);
    new Logger("after module");
    return 0;
}

// While the file cannot be opened, reports are lost and nothing is made.
int reportLate(const std::filesystem::path& base) {
    Logger logger("late");
    std::filesystem::remove_all(base);
    logger.dump();
    if (std::filesystem::exists(base)) return 1;
    std::filesystem::create_directories(base / "Logs/PooledObjects.log");
    logger.dump();
    std::filesystem::remove(base / "Logs/PooledObjects.log");
    logger.dump();
    return 0;
}

int reportOften() {
    Logger logger(std::string(60000, 'x').c_str());
    const auto report = [&] {
        for (int n = 0; n < 100; ++n) logger.dump();
    };
    std::jthread other(report);
    report();
    return 0;
}

}  // namespace

int main(int, char** argv) {
    const std::string mode = argv[1];
    if (mode == "exit") return buildOfEachKind();
    if (mode == "exit-elsewhere") std::thread([] { std::exit(buildOfEachKind()); }).join();
    if (mode == "build-at-exit") return buildAtExit();
    if (mode == "module") return useModule();
    if (mode == "late") return reportLate(std::getenv("XDG_STATE_HOME") + std::string("/Vornhold"));
    return reportOften();
}
