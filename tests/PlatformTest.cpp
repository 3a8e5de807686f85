#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>

#include "Vorn/Vorn.h"
#include "tests/support/TestPlatform.h"

namespace {

using namespace posix;

TEST(PlatformMemory, EveryBlockIsReleasedWhereItBelongs) {
    for (const std::size_t bytes : {0u, 1u, 100u << 10, 20u << 20, 1500u << 20})
        memoryServices->free(memoryServices->allocate(bytes));
    memoryServices->free(::realpath("/", nullptr));  // The C library's.
}

TEST(PlatformFiles, HandlesWorkOneWay) {
    const std::string name = testing::TempDir() + "one_way";
    const WString path(name.begin(), name.end());
    EXPECT_FALSE(fileServices->openFile(path, 1, 1, 0, 0));
    char byte;
    const auto writer = fileServices->openFile(path, 1, 3, 0, 0);
    EXPECT_TRUE(writer->write("ab", 2) == 2 && writer->size() == 2 && writer->read(&byte, 1) == 0);
    const auto reader = fileServices->openFile(L"/proc/self/exe", 0, 0, 1, 0);
    EXPECT_TRUE(reader->size() > 1 && reader->write("a", 1) == 0 && reader->read(&byte, 1) == 1);
}

// Gives back all but what it keeps, and registers another meanwhile, which is not asked.
struct Cache final : Reclaimable {
    std::size_t reclaimableBytes() override { return 0; }
    std::size_t reclaim(std::size_t bytes) override {
        return late = std::make_unique<Cache>(*this), bytes - kept;
    }
    std::size_t reclaimAll() override { return 0; }
    std::size_t kept = 7;
    static inline std::unique_ptr<Cache> late;
};

TEST(PlatformMemory, ReclaimAsksInOrderUntilSatisfied) {
    const Cache first;
    Cache last(first);
    last.kept = 2;
    for (const std::size_t bytes : {20u, 0u, 20u})
        EXPECT_EQ(memoryServices->reclaim(bytes), bytes > 0 ? 18 : 0), Cache::late.reset();
}

TEST(PlatformPaths, LogsFollowTheEnvironment) {
    const char* const rows[][2] = {{"/s", "/s/"}, {"/s/", "/s/"}, {"s", "/h/.local/state/"}};
    ::setenv("HOME", "/h", 1);
    for (const auto& [state, expected] : rows) {
        ::setenv("XDG_STATE_HOME", state, 1);
        EXPECT_EQ(Vorn::UTF8FromWString(pathServices->getFolderPath(4)), expected);
        EXPECT_EQ(pathServices->getFolderPath(3), L"");
    }
}

struct NoProcessors : iSystemInfo {
    unsigned getNumProcessors() override { return 0; }
};

TEST(PlatformSystem, ProcessorsAreAskedForOnce) {
    const unsigned number = Vorn::CPUInfo::getNumProcessors();
    EXPECT_EQ(number, systemInfo->getNumProcessors());
    NoProcessors none;
    const test::Override<iSystemInfo> guard(&none);
    EXPECT_EQ(Vorn::CPUInfo::getNumProcessors(), number);
}

}  // namespace
