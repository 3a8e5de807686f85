#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

#include "Vorn/Reclaimable.h"
#include "platform/posix/Services.h"

namespace {

namespace fs = std::filesystem;
using namespace posix;

TEST(PlatformText, Utf8IsDecodedStrictlyAndEveryCodePointComesBack) {
    const char* const ill = "\x80(\xC0\xAF(\xED\xA0\x80(\xE2\x82(\xF0\x9F\x98(\xC3\xC3\xA9\xF0";
    EXPECT_EQ(textServices->wideFromUtf8(ill),
              L"\xFFFD(\xFFFD\xFFFD(\xFFFD\xFFFD\xFFFD(\xFFFD(\xFFFD(\xFFFD\xE9\xFFFD");
    WString all;
    for (wchar_t c = 1; c < 0x110000; c += c == 0xD7FF ? 0x801 : 1) all += c;
    const UTF8String utf8 = textServices->utf8FromWide(all + L'\xD800' + L'\x110000');
    EXPECT_EQ(utf8.size(), 0x7Fu + 2 * 0x780u + 3 * (0xF802u - 0x800u) + 4 * 0x100000u);
    EXPECT_TRUE(textServices->wideFromUtf8(utf8.c_str()) == all + L"\xFFFD\xFFFD");
}

TEST(PlatformThreads, ContendersCountAtomicallyAndTakeTurns) {
    const auto lock = threadServices->createCriticalSection(0);
    std::int32_t entries = 0, count = 2;
    const auto work = [&] {
        for (int i = 0; i < 1000000; ++i) atomicServices->increment(&count);
        for (int i = 0; i < 1000000; ++i) EXPECT_GE(atomicServices->decrement(&count), 2);
        for (int i = 0; i < 5000; ++i, lock->leave()) {
            if (i % 3 != 0 || !lock->tryEnter()) lock->enter();
            const int entry = ++entries;
            EXPECT_TRUE((entry % 500 != 0 || ::usleep(1000) == 0) && entries == entry);
        }
    };
    { const std::jthread threads[] = {std::jthread(work), std::jthread(work), std::jthread(work)}; }
    EXPECT_TRUE(entries == 15000 && atomicServices->decrement(&count) == 1);
    void* word = &count;
    EXPECT_EQ(atomicServices->compareExchangePointer(&word, nullptr, &word), &count);
    EXPECT_TRUE(atomicServices->compareExchangePointer(&word, nullptr, word) == &count && !word);
}

TEST(PlatformMemory, EveryBlockIsReleasedWhereItBelongs) {
    for (const std::size_t bytes : {0u, 1u, 100u << 10, 20u << 20, 1500u << 20})
        memoryServices->free(memoryServices->allocate(bytes));
    memoryServices->free(::realpath("/", nullptr));  // The C library's.
}

// Gives back all but what it keeps, and needs the services to do so.
struct Cache final : Reclaimable {
    std::size_t reclaimableBytes() override { return 0; }
    std::size_t reclaim(std::size_t bytes) override { return bytes - Cache(*this).kept; }
    std::size_t reclaimAll() override { return 0; }
    std::size_t kept = 7;
};

TEST(PlatformMemory, ReclaimAsksInOrderUntilSatisfied) {
    const Cache first;
    Cache last(first);
    last.kept = 2;
    for (const std::size_t bytes : {20u, 0u, 20u})
        EXPECT_EQ(memoryServices->reclaim(bytes), bytes > 0 ? 18 : 0);
}

Vorn::Ptr<iFile> open(const std::string& path, bool writing) {
    const WString name(path.begin(), path.end());
    return fileServices->openFile(name, writing, writing ? 3 : 0, !writing, 0);
}

bool save(const std::string& path, const std::string& text) {
    const auto file = open(path, true);
    return file && file->write(text.data(), static_cast<unsigned>(text.size())) == text.size();
}

std::string load(const std::string& path) {
    const auto file = open(path, false);
    std::string text(file ? file->size() : 0, '\0');
    return text.substr(0, file ? file->read(text.data(), static_cast<unsigned>(text.size())) : 0);
}

// What saving does to `path`; its mode and a link that leads to it have to stay.
std::string outcome(const std::string& path) {
    struct stat old = {}, now = {};
    const bool link = fs::is_symlink(path), known = ::stat(path.c_str(), &old) == 0;
    if (!save(path, path)) return "refused";
    if (::stat(path.c_str(), &now) != 0 || load(path) != path) return "broken";
    if ((known && now.st_mode != old.st_mode) || fs::is_symlink(path) != link) return "changed";
    return now.st_ino == old.st_ino ? "in place" : "replaced";
}

// No temporary file is left at the end.
TEST(PlatformFiles, WritingReplacesTheFileOrWritesInPlaceOrIsRefused) {
    std::string folder = fs::temp_directory_path() / "vorn-platform-XXXXXX";
    fs::current_path(::mkdtemp(folder.data()));
    EXPECT_EQ(0, std::system(R"(mkdir sub; mkfifo pipe; seq 99 > twin; ln twin sub/twin
        seq 99 > file; chmod 751 file; ln -s file link; ln -s $PWD/link sub/chain
        ln -s ../new sub/dangling; ln -s loop loop)"));
    for (const char* path : {"link", "sub/chain", "sub/dangling", "new", "file"})
        EXPECT_EQ(outcome(path), "replaced") << path;
    for (const char* path : {"", "loop", "pipe", "sub", "missing/x", "file/x"})
        EXPECT_TRUE(outcome(path) == "refused" && !open(path, false)) << path;
    EXPECT_EQ(outcome("twin"), "in place");
    const auto fail = [limit = rlimit{50, 50}] {
        ::signal(SIGXFSZ, SIG_IGN);
        ::setrlimit(RLIMIT_FSIZE, &limit);
        std::exit(save("file", std::string(200000, 'x')) || !save("file", std::string(99, 'x')));
    };
    EXPECT_EXIT(fail(), testing::ExitedWithCode(0), "");
    for (auto file = open("file", true); file; file = {})
        EXPECT_TRUE(file->write("text", 4) == 4 && load("file") == "file");
    EXPECT_EQ(load("file"), "text");
    EXPECT_EQ(0, std::system("! ls -A | grep '^[.]' && rm -r \"$PWD\""));
    fs::current_path("/");
}

}  // namespace
