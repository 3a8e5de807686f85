// Saves a version of a file: powercut_saver WAY FILE VERSION [DISK]. With DISK, goes on with the
// next until the power goes, and notes which one is saved on that disk, behind its file system.
// Ways of more than five letters are wrong: each leaves out what the library does.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "Vorn/Settings.h"
#include "Vorn/VornIniFile.h"

namespace {

using Text = std::string;

bool write(const Text& path, const Text& text, bool synced, unsigned pause = 0) {
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    ::usleep(pause);
    const bool written = ::write(file, text.data(), text.size()) == ssize_t(text.size());
    return written && (!synced || ::fsync(file) == 0) && ::close(file) == 0;
}

bool replace(const Text& path, const Text& text, bool synced) {
    const Text temporary = path + ".new";
    return write(temporary, text, synced) && ::rename(temporary.c_str(), path.c_str()) == 0;
}

bool save(const Text& way, const Text& path, const Text& version) {
    Text text = version;
    for (int count = 1; count < 4000; ++count) text += ',' + version;
    const WString wide(path.begin(), path.end());
    if (way == "ini") {
        VornIniFile ini(true);
        ini["s"].emplace_back(String(("v=" + text).c_str()), '=');
        return ini.save(wide);
    }
    if (way == "set") {
        Vorn::Settings settings;
        settings.set("s", "v", text);
        return settings.save(wide);
    }
    if (way == "tool") {
        const char* const arguments[] = {"vorn-ini", "set",        path.c_str(), "s",
                                         "v",        text.c_str(), nullptr};
        pid_t child;
        int status = 1;
        ::posix_spawn(&child, "/bin/vorn-ini", nullptr, nullptr,
                      const_cast<char* const*>(arguments), environ);
        return ::waitpid(child, &status, 0) == child && status == 0;
    }
    if (way == "rename-without-fsync") return replace(path, text, false);
    if (way == "no-fsync-of-folder") return replace(path, text, true);
    // Noise can put the empty file on the disk meanwhile.
    return write(path, text, way == "truncate-and-fsync", 400000);
}

}  // namespace

int main(int, char** argv) {
    int version = std::atoi(argv[3]);
    if (!argv[4]) return save(argv[1], argv[2], argv[3]) ? 0 : 1;
    constexpr off_t behindFileSystem = 320 << 20;
    const int disk = ::open(argv[4], O_WRONLY | O_DIRECT);
    alignas(4096) char note[4096] = {};
    for (; save(argv[1], argv[2], std::to_string(version)); ++version) {
        std::snprintf(note, sizeof note, "%d", version);
        if (::pwrite(disk, note, sizeof note, behindFileSystem) != sizeof note) return 2;
        ::usleep(100000);
    }
    return 1;
}
