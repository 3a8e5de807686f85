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
#include <string_view>

#include "Vorn/VornIniFile.h"

namespace {

enum Fault : int { kNone = 0, kPlantedLink = -2, kShortWrite = -3, kRemovedFile = -4 };

std::string faultyCall;
int callsLeft, plannedFault;
bool watching;

std::string pathOf(int file) {
    std::error_code none;
    return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(file), none).string();
}

// Tells of a call for that file, and returns the fault that it is to have.
int begin(std::string_view call, int file, const std::string& rest = "", unsigned mode = 0) {
    if (!watching) return kNone;
    std::cout << call << ' ' << pathOf(file) << ' ' << rest << ' ' << std::oct << mode << '\n';
    if (call != faultyCall || --callsLeft != 0) return kNone;
    if (plannedFault == -SIGKILL || plannedFault == -SIGSTOP) ::raise(-plannedFault);
    return plannedFault;
}

template <class Result = int, class... Arguments>
Result make(int fault, long number, Arguments... arguments) {
    if (fault <= 0) return static_cast<Result>(::syscall(number, arguments...));
    errno = fault;
    return -1;
}

}  // namespace

extern "C" {

VORN_EXPORT int openat(int folder, const char* path, int flags, mode_t mode) {
    const std::string how = (flags & O_EXCL) != 0 ? " exclusively" : "";
    const int fault = begin("openat", folder, path + how, mode);
    if (fault == kPlantedLink && ::symlinkat("victim", folder, path) != 0) return -1;
    return make(fault, SYS_openat, folder, path, flags, mode);
}
VORN_EXPORT int flock(int file, int operation) noexcept {
    const int fault = begin("flock", file);
    if (fault == kRemovedFile) ::unlink(pathOf(file).c_str());
    return make(fault, SYS_flock, file, operation);
}
VORN_EXPORT int fchmod(int file, mode_t mode) noexcept {
    return make(begin("fchmod", file, "", mode), SYS_fchmod, file, mode);
}
VORN_EXPORT int fsetxattr(int file, const char* name, const void* value, std::size_t bytes,
                          int flags) noexcept {
    return make(begin("fsetxattr", file), SYS_fsetxattr, file, name, value, bytes, flags);
}
VORN_EXPORT ssize_t write(int file, const void* data, std::size_t bytes) {
    const int fault = begin("write", file);
    return make<ssize_t>(fault, SYS_write, file, data, fault == kShortWrite ? bytes / 2 : bytes);
}
VORN_EXPORT int fsync(int file) {
    return make(begin("fsync", file), SYS_fsync, file);
}
VORN_EXPORT int renameat(int from, const char* old, int to, const char* name) noexcept {
    const int fault = begin("renameat", from, old + (' ' + pathOf(to)) + ' ' + name);
    return make(fault, SYS_renameat, from, old, to, name);
}
// Gives up the number even if it fails.
VORN_EXPORT int close(int file) {
    const int fault = begin("close", file);
    if (fault > 0) ::syscall(SYS_close, file);
    return make(fault, SYS_close, file);
}

}  // extern "C"

int main(int, char** argv) {
    const WString path(argv[1], argv[1] + std::strlen(argv[1]));
    unsigned user = 0;
    std::istringstream(argv[2]) >> user >> faultyCall >> callsLeft >> plannedFault;
    if (user != 0 && (::setgid(user) != 0 || ::setuid(user) != 0)) return 8;
    VornIniFile ini(true);
    // Several buffers full; one entry is a byte larger than a buffer.
    for (const unsigned size : {65'535u, 40'000u, 40'000u, 9u})
        ini["s"].emplace_back(String('n', size), '=');
    watching = true;
    const bool saved = ini.save(path);
    while (faultyCall == "forever") ini.save(path);
    watching = false;
    const bool loaded = VornIniFile(true).load(path, '\n');
    return (saved ? 0 : 1) + (loaded ? 0 : 2) + (callsLeft > 0 ? 4 : 0);
}
