#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "Vorn/VornIniFile.h"
#include "tests/support/IniModel.h"
#include "tests/support/TestPlatform.h"

namespace {

namespace fs = std::filesystem;

const auto contentOf = [](const fs::path& file) {
    return std::string(std::istreambuf_iterator<char>(std::ifstream(file).rdbuf()), {});
};

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

TEST(IniFile, CallsThePlatformAsAgreedAndKeepsThePath) {
    test::MemoryFiles files;
    files.put(L"a", "k=1\n[s]\nv\n");
    files.reportedSize = 20;
    VornIniFile ini(L"a", false, false);
    EXPECT_TRUE(ini.load(L"", '\n') && ini.save(L"b"));
    for (const int calls : {1, 2, 3}) {  // How far a load gets.
        files.refuseToOpen = calls == 1;
        files.reportedSize = (1ull << 32) + (calls == 2 ? 0 : 7777);
        files.readNothing = calls == 3;
        EXPECT_FALSE(ini.load(L"a", '\n'));
    }
    files.refuseToOpen = true;
    EXPECT_FALSE(ini.save(L"") || ini.save(L"c") || ini.load(L"", '\n'));
    EXPECT_EQ(files.calls,
              ", open a 0 0 1 0, size, read 20, open b 1 3 0 0, write 5, write 2, write 5, write 3"
              ", open a 0 0 1 0, open a 0 0 1 0, size, open a 0 0 1 0, size, read 7777"
              ", open a 1 3 0 0, open c 1 3 0 0, open c 0 0 1 0");
    EXPECT_EQ(*reinterpret_cast<const WString*>(&ini), L"c");
}

}  // namespace
