#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <utility>

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
    if (!fs::is_directory(VORN_INI_CORPUS)) return;
    for (const auto& real : fs::directory_iterator(VORN_INI_CORPUS))
        for (const bool cased : {false, true}) {
            const std::string once = resaved(contentOf(real), cased);
            EXPECT_EQ(resaved(once, cased), once) << real;
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

TEST(IniFile, CallsThePlatformUntilItFails) {
    test::MemoryFiles files;
    VornIniFile ini(L"a", false, false);
    const auto expectCalls = [&](bool done, bool expected, const std::string& calls) {
        EXPECT_EQ(done, expected) << calls;
        EXPECT_EQ(std::exchange(files.calls, ""), calls);
    };
    files.put(L"a", "k=1\n[s]\nv\n");
    files.reportedSize = 20;
    expectCalls(ini.load(L"", '\n'), true, ", open a 0 0 1 0, size, read 20");
    expectCalls(ini.save(L"b"), true, ", open b 1 3 0 0, write 5, write 2, write 5, write 3");
    files.reportedSize = 1ull << 32;
    expectCalls(ini.load(L"a", '\n'), false, ", open a 0 0 1 0, size");
    files.reportedSize += 7777;
    files.readNothing = true;
    expectCalls(ini.load(L"a", '\n'), false, ", open a 0 0 1 0, size, read 7777");
    files.refuseToOpen = true;
    expectCalls(ini.load(L"c", '\n'), false, ", open c 0 0 1 0");
    expectCalls(ini.save(L""), false, ", open c 1 3 0 0");
    expectCalls(ini.save(L"d"), false, ", open d 1 3 0 0");
    expectCalls(ini.load(L"", '\n'), false, ", open d 0 0 1 0");
    EXPECT_EQ(*reinterpret_cast<const WString*>(&ini), L"d") << "the path given last";
}

}  // namespace
