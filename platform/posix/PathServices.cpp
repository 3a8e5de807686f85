#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

#include "platform/posix/Services.h"

namespace posix {
namespace {

constexpr int kLogsFolder = 4;

// The value of a variable, null where it is not set.
const char* environment(const char* name) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the library never changes the environment.
    return std::getenv(name);
}

UTF8String homeFolder() {
    if (const char* const home = environment("HOME"); home && *home) return home;
    char strings[16384];
    passwd entry;
    passwd* found = nullptr;
    if (::getpwuid_r(::getuid(), &entry, strings, sizeof strings, &found) != 0 || !found) return {};
    return entry.pw_dir;
}

UTF8String belowHome(const char* folder) {
    const UTF8String home = homeFolder();
    return home.empty() ? home : home + folder;
}

#ifdef __APPLE__
UTF8String logsFolder() {
    return belowHome("/Library/Logs");
}
#else
// A relative path in the variable is to be ignored.
UTF8String logsFolder() {
    const char* const state = environment("XDG_STATE_HOME");
    return state && *state == '/' ? state : belowHome("/.local/state");
}
#endif

class PathServices final : public iPathServices {
public:
    WString getFolderPath(int folder) override {
        if (folder != kLogsFolder) return {};
        UTF8String path = logsFolder();
        if (!path.empty() && path.back() != '/') path += '/';
        return textServices->wideFromUtf8(path.c_str());
    }
};

constexpr NeverDestroyed<PathServices> services;

}  // namespace

iPathServices* const pathServices = &services.object;

}  // namespace posix
