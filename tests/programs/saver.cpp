// Saves settings and loads them again: saver PATH "USER CALL N FAULT". The calls defined here stand
// before the C library's. They tell what is called, and the N-th CALL fails for the reason FAULT
// or, below zero, as the enumerators or the signal of that number say. The exit status is 1 when
// saving answers false, plus 2 when loading does, plus 4 when there was no such call. The call
// "forever" stands for saving on and on.
#define openat variadic_openat
#include <fcntl.h>
#undef openat
#include <signal.h>
#include <sys/file.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <sstream>

#include "Vorn/VornIniFile.h"

namespace {

enum Fault : int { kPlantedLink = -2, kShortWrite = -3, kRemovedFile = -4 };
std::string faulty;
int nth, fault;
bool watching, hit;

std::filesystem::path pathOf(int file) {
    std::error_code none;
    return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(file), none);
}

std::string at(int file) {
    return pathOf(file).string() + ' ';
}

template <class Make>
long watched(const std::string& name, const std::string& place, unsigned mode, Make make) {
    std::cout << name << ' ' << place << ' ' << std::oct << mode << '\n';
    hit = faulty == name && --nth == 0;
    if (hit && (fault == -SIGKILL || fault == -SIGSTOP)) ::raise(-fault);
    const bool fails = hit && fault > 0;
    const long result = fails && name != "close" ? -1 : make();
    if (fails) errno = fault;
    return fails ? -1 : result;
}

}  // namespace

#define WATCHED(Result, name, parameters, place, mode, ...)                                \
    extern "C" VORN_EXPORT Result name parameters {                                        \
        const auto make = [=] { return ::syscall(SYS_##name, __VA_ARGS__); };              \
        return static_cast<Result>(watching ? watched(#name, place, mode, make) : make()); \
    }

WATCHED(int, fsync, (int file), at(file), 0, file)
WATCHED(int, close, (int file), at(file), 0, file)
WATCHED(int, fchmod, (int file, mode_t bits) noexcept, at(file), bits, file, bits)
WATCHED(int, fsetxattr,
        (int file, const char* name, const void* value, std::size_t bytes, int flags) noexcept,
        at(file), 0, file, name, value, bytes, flags)
WATCHED(ssize_t, write, (int file, const void* data, std::size_t bytes), at(file), 0, file, data,
        hit&& fault == kShortWrite ? bytes / 2 : bytes)
WATCHED(int, flock, (int file, int operation) noexcept, at(file), 0,
        hit&& fault == kRemovedFile ? file + ::unlink(pathOf(file).c_str()) : file, operation)
WATCHED(int, renameat, (int from, const char* old, int to, const char* name) noexcept,
        at(from) + old + ' ' + at(to) + name, 0, from, old, to, name)
WATCHED(int, openat, (int folder, const char* path, int flags, mode_t mode),
        at(folder) + path + ((flags & O_EXCL) != 0 ? " exclusively" : ""), mode,
        hit&& fault == kPlantedLink ? folder + ::symlinkat("victim", folder, path) : folder, path,
        flags, mode)

int main(int, char** argv) {
    const WString path(argv[1], argv[1] + std::strlen(argv[1]));
    unsigned user = 0;
    std::istringstream(argv[2]) >> user >> faulty >> nth >> fault;
    if (user != 0 && (::setgid(user) != 0 || ::setuid(user) != 0)) return 8;
    VornIniFile ini(true);
    // Several buffers full; one entry is a byte larger than a buffer.
    for (const unsigned size : {65'535u, 40'000u, 40'000u, 9u})
        ini["s"].emplace_back(String('n', size), '=');
    watching = true;
    const bool saved = ini.save(path);
    while (faulty == "forever") ini.save(path);
    watching = false;
    const bool loaded = VornIniFile(true).load(path, '\n');
    return (saved ? 0 : 1) + (loaded ? 0 : 2) + (nth > 0 ? 4 : 0);
}
