// Saves version after version of a file, until the power goes: powercut_saver WAY FILE DISK
// [VERSION] Each version that is saved is told by one byte, the number of the disk, at a port of
// the machine that reaches its maker at once. With VERSION, saves only that. Ways of more than five
// letters are wrong: each leaves out what the library does.
#include <fcntl.h>
#include <spawn.h>
#include <sys/io.h>
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

bool save(const Text& way, const Text& path, const Text& text) {
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
    if (way == "noise") return write(path, text, true);
    // Noise can put the empty file on the disk meanwhile.
    return write(path, text, way == "truncate-and-fsync", 400000);
}

}  // namespace

int main(int, char** argv) {
    const bool once = argv[4] != nullptr;
    for (int version = once ? std::atoi(argv[4]) : 1;; ++version) {
        Text text = std::to_string(version);
        for (int count = 1; count < 4000; ++count) text += ',' + std::to_string(version);
        const bool saved = save(argv[1], argv[2], text);
        if (once || !saved) return saved ? 0 : 1;
        if (::ioperm(0xe9, 1, 1) != 0) return 2;
        ::outb(static_cast<unsigned char>(std::atoi(argv[3])), 0xe9);
        ::usleep(100000);
    }
}
