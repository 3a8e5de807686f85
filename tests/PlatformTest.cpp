#include <fcntl.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

#include "Vorn/Vorn.h"
#include "tests/support/TestPlatform.h"

namespace {

using namespace posix;
using namespace std::string_literals;
namespace fs = std::filesystem;

Vorn::Ptr<iFile> openToRead(const std::string& path) {
    return fileServices->openFile(WString(path.begin(), path.end()), 0, 0, 1, 0);
}

TEST(Platform, EveryBlockIsReleasedWhereItBelongs) {
    for (const std::size_t bytes : {0u, 1u, 100u << 10, 20u << 20, 1500u << 20})
        memoryServices->free(memoryServices->allocate(bytes));
    memoryServices->free(::realpath("/", nullptr));  // The C library's.
}

TEST(Platform, FilesWorkOneWay) {
    char byte = 0;
    EXPECT_FALSE(fileServices->openFile(L"/dev/null", 1, 1, 0, 0));
    EXPECT_EQ(fileServices->openFile(L"/dev/null", 1, 3, 0, 0)->read(&byte, 1), 0u);
    EXPECT_EQ(fileServices->openFile(L"/proc/self/exe", 0, 0, 1, 0)->write(&byte, 1), 0u);
}

TEST(Platform, OnlyRegularFilesAreRead) {
    const test::TemporaryFolder folder;
    const std::string pipe = folder.path / "pipe";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string& path : {"/dev/null"s, "/"s, pipe, pipe + "/none"})
        EXPECT_FALSE(openToRead(path)) << path;
}

// The page behind the buffer's first takes nothing, so reading fails once that one is full.
TEST(Platform, AFileThatCannotBeReadToTheEndGivesNothing) {
    const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    void* const pages = ::mmap(nullptr, 2 * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_EQ(::mprotect(pages, page, PROT_READ | PROT_WRITE), 0);
    const Vorn::Ptr<iFile> file = openToRead("/proc/self/exe");
    EXPECT_EQ(file->read(pages, static_cast<unsigned>(2 * page)), 0u);
    ::munmap(pages, 2 * page);
}

TEST(Platform, ProgramsThatAreStartedInheritNoFile) {
    const test::TemporaryFolder folder;
    const std::string path = folder.path / "file";
    std::ofstream(path) << "text";
    const Vorn::Ptr<iFile> reader = openToRead(path);
    const Vorn::Ptr<iFile> writer = fileServices->openFile(Vorn::WStringFromPath(path), 1, 3, 0, 0);
    unsigned open = 0;
    for (const auto& descriptor : fs::directory_iterator("/proc/self/fd")) {
        std::error_code closed;
        const std::string file = fs::read_symlink(descriptor, closed);
        if (!file.starts_with(folder.path.string())) continue;
        ++open;
        const int number = std::stoi(descriptor.path().filename());
        EXPECT_EQ(::fcntl(number, F_GETFD), FD_CLOEXEC) << file;
    }
    EXPECT_EQ(open, 3u) << "the file that is read, the one that is written, its folder";
}

// A process that leads a session gets the first terminal that it opens, unless it says no.
TEST(Platform, TerminalsDoNotTakeProcessesOver) {
    const auto openTerminal = [] {
        const int terminal = ::posix_openpt(O_RDWR | O_NOCTTY);
        if (::setsid() < 0 || ::grantpt(terminal) != 0 || ::unlockpt(terminal) != 0) std::exit(1);
        openToRead(::ptsname(terminal));
        std::exit(::open("/dev/tty", O_RDONLY) < 0 ? 0 : 2);
    };
    EXPECT_EXIT(openTerminal(), testing::ExitedWithCode(0), "");
}

TEST(Platform, LogsFollowTheEnvironment) {
    const std::string account = ::getpwuid(::getuid())->pw_dir;
    const struct {
        const char *stateHome, *home;
        std::string expected;
    } rows[] = {
        {"/s", "/h", "/s/"},
        {"/s/", "/h", "/s/"},
        {"s", "/h", "/h/.local/state/"},
        {"", "", account + "/.local/state/"},
    };
    for (const auto& [stateHome, home, expected] : rows) {
        ::setenv("XDG_STATE_HOME", stateHome, 1);
        ::setenv("HOME", home, 1);
        EXPECT_EQ(Vorn::UTF8FromWString(pathServices->getFolderPath(4)).c_str(), expected)
            << "XDG_STATE_HOME=" << stateHome << " HOME=" << home;
    }
    EXPECT_EQ(pathServices->getFolderPath(3), L"");
}

TEST(Platform, UsersWithoutAnAccountHaveNoFolder) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can become a user without an account";
    const auto lookUp = [] {
        constexpr uid_t kNobodysNumber = 987654;
        ::unsetenv("XDG_STATE_HOME");
        ::unsetenv("HOME");
        if (::setuid(kNobodysNumber) != 0) std::exit(1);
        std::exit(pathServices->getFolderPath(4).empty() ? 0 : 2);
    };
    EXPECT_EXIT(lookUp(), testing::ExitedWithCode(0), "");
}

}  // namespace
