#include <gtest/gtest.h>

#include <cstdlib>

#include "Vorn/Vorn.h"
#include "tests/support/TestPlatform.h"

namespace {

using namespace posix;

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

TEST(Platform, LogsFollowTheEnvironment) {
    const char* const rows[][2] = {{"/s", "/s/"}, {"/s/", "/s/"}, {"s", "/h/.local/state/"}};
    ::setenv("HOME", "/h", 1);
    for (const auto& [state, expected] : rows) {
        ::setenv("XDG_STATE_HOME", state, 1);
        EXPECT_EQ(Vorn::UTF8FromWString(pathServices->getFolderPath(4)), expected);
    }
    EXPECT_EQ(pathServices->getFolderPath(3), L"");
}

}  // namespace
