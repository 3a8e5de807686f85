#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "Vorn/VornIniFile.h"
#include "tests/support/IniModel.h"
#include "tests/support/TestPlatform.h"

namespace {

namespace fs = std::filesystem;

std::string contentOf(const fs::path& file) {
    return {std::istreambuf_iterator<char>(std::ifstream(file).rdbuf()), {}};
}

// Loads and saves a file.
std::string resaved(const std::string& file, bool cased) {
    test::MemoryFiles files;
    files.put(L"in", file);
    test::IniModel model{cased};
    model.load(file, '\n');
    EXPECT_TRUE(VornIniFile(L"in", true, cased).save(L"out"));
    EXPECT_EQ(files.get(L"out"), model.save()) << file.substr(0, 99);
    return files.get(L"out");
}

TEST(IniFile, FilesKeepEveryEntry) {
    const fs::path data = VORN_TEST_DATA;
    const std::string forms = contentOf(data / "forms.ini");
    EXPECT_EQ(resaved(forms, false), contentOf(data / "forms.folded.ini"));
    EXPECT_EQ(resaved(forms, true), contentOf(data / "forms.cased.ini"));
}

TEST(IniFile, RealFilesKeepEveryEntry) {
    const fs::path corpus = VORN_INI_CORPUS;
    if (!fs::is_directory(corpus)) GTEST_SKIP() << "VORN_INI_CORPUS names no folder of real files";
    for (const auto& file : fs::directory_iterator(corpus)) {
        for (const bool cased : {false, true}) {
            const std::string once = resaved(contentOf(file), cased);
            EXPECT_EQ(resaved(once, cased), once) << file;
        }
    }
}

TEST(IniFile, AssignmentTakesEverythingOver) {
    test::MemoryFiles files;
    files.put(L"cased", "[s]\nk=1\n");
    VornIniFile ini(false);
    ini["old"];
    ini = VornIniFile(L"cased", true, true);
    EXPECT_TRUE(ini.getSectionNameCaseSensitivity());
    EXPECT_TRUE(ini.sectionExists("s"));
    EXPECT_FALSE(ini.sectionExists("S"));
    EXPECT_FALSE(ini.sectionExists("old"));
    EXPECT_TRUE(ini.save(L"")) << "to the path of the other";
    EXPECT_EQ(files.get(L"cased"), "[s]\r\nk=1\r\n");
}

TEST(IniFile, CallsThePlatformAsAgreed) {
    test::MemoryFiles files;
    files.put(L"a", "k=1\n[s]\nv\n");
    files.reportedSize = 20;
    VornIniFile ini(L"a", false, false);
    EXPECT_TRUE(ini.load(L"", '\n'));
    EXPECT_TRUE(ini.save(L"b"));
    EXPECT_EQ(
        files.calls,
        ", open a 0 0 1 0, size, read 20, open b 1 3 0 0, write 5, write 2, write 5, write 3");
}

TEST(IniFile, LoadingEndsAtTheFirstCallThatFails) {
    const struct {
        bool refuseToOpen, readNothing;
        std::uint64_t size;
        const char* calls;
    } rows[] = {
        {true, false, 1, ", open a 0 0 1 0"},
        {false, false, 1ull << 32, ", open a 0 0 1 0, size"},
        {false, true, (1ull << 32) + 7777, ", open a 0 0 1 0, size, read 7777"},
    };
    for (const auto& row : rows) {
        test::MemoryFiles files;
        files.put(L"a", "k=1\n");
        files.refuseToOpen = row.refuseToOpen;
        files.readNothing = row.readNothing;
        files.reportedSize = row.size;
        EXPECT_FALSE(VornIniFile(true).load(L"a", '\n')) << row.calls;
        EXPECT_EQ(files.calls, row.calls);
    }
}

TEST(IniFile, KeepsThePathThatItWasGivenLast) {
    test::MemoryFiles files;
    files.refuseToOpen = true;
    VornIniFile ini(L"a", false, false);
    EXPECT_FALSE(ini.load(L"b", '\n'));
    EXPECT_FALSE(ini.save(L""));
    EXPECT_FALSE(ini.save(L"c"));
    EXPECT_FALSE(ini.load(L"", '\n'));
    EXPECT_EQ(files.calls, ", open b 0 0 1 0, open b 1 3 0 0, open c 1 3 0 0, open c 0 0 1 0");
    EXPECT_EQ(*reinterpret_cast<const WString*>(&ini), L"c");
}

}  // namespace
