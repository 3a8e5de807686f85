#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

#include "Vorn/Exception.h"
#include "Vorn/StringManip.h"
#include "Vorn/VornIniFile.h"
#include "Vorn/WStringUtils.h"
#include "tests/support/IniModel.h"
#include "tests/support/TestPlatform.h"

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;
using Vorn::AttribValuePair;
using Vorn::StringManip::splitBuffer;

const auto bytes = [](const String& s) { return std::string(s, s.size()); };

const auto contentOf = [](const fs::path& file) {
    return std::string(std::istreambuf_iterator<char>(std::ifstream(file).rdbuf()), {});
};

// The field at an offset that its class promises.
template <class T>
const T& field(const void* object, std::size_t offset) {
    return *reinterpret_cast<const T*>(static_cast<const char*>(object) + offset);
}

TEST(AttribValuePair, TakesPartsAsTheyAreOrAsUtf8) {
    EXPECT_EQ(bytes(AttribValuePair(String("k=v=\0w", 6), '=').getValue()), "v=\0w"s);
    EXPECT_EQ(AttribValuePair(String("k\0=v", 4), '=').getAttrib().size(), 0u);
    EXPECT_EQ(bytes(AttribValuePair(String("k\0x", 3), " v", ':').asString('=')), "k\0x: v"s);
    const AttribValuePair wide(WString(L"Gr\u00F6\0x", 5), L"\u20AC", '=');
    EXPECT_EQ(bytes(wide.getAttrib()), "Gr\xC3\xB6");
    EXPECT_EQ(wide.asWString(':'), L"Gr\u00C3\u00B6=\u00E2\u0082\u00AC");
}

TEST(AttribValuePair, EverythingGoesByTheState) {
    const char* const rules[] = {"elf", "llb", "fbf"};  // Either, lines, fields, both are equal.
    std::vector<AttribValuePair> pairs;                 // In states 0, 1, 2, 0, 1, 2, ...
    for (const char* form : {"=a=1", ":a=1", ":a:1", "=b= "}) {
        pairs.insert(pairs.end(), 3, AttribValuePair(String(form + 1), *form));
        pairs.end()[-2].setLine(form + 1);
        pairs.end()[-1].setAttrib("a");
    }
    for (std::size_t i = 0; i < pairs.size() * pairs.size(); ++i) {
        const AttribValuePair &a = pairs[i / pairs.size()], &b = pairs[i % pairs.size()];
        const String &lineA = field<String>(&a, 8), &lineB = field<String>(&b, 8);
        const bool fields = a.getAttrib() == b.getAttrib() && a.getValue() == b.getValue();
        const char rule = rules[i / pairs.size() % 3][i % 3];
        EXPECT_EQ(a == b, rule == 'e' ? fields || lineA == lineB
                                      : (rule == 'f' || lineA == lineB) && (rule == 'l' || fields));
        EXPECT_EQ(b.valid(), i % 3 != 1 && b.getValue().size() > 0);
        EXPECT_EQ(b.asString(';'), i % 3 == 2 ? b.getAttrib() + ";" + b.getValue() : lineB);
        AttribValuePair c(a);
        c = b;
        EXPECT_EQ(c.getState(), i % 3 == 2 ? 2 : 0);
        EXPECT_EQ(field<String>(&c, 8), i % 3 == 2 ? lineA : lineB);
        EXPECT_TRUE(c.getAttrib() == b.getAttrib() && c.getValue() == b.getValue());
    }
}

std::string resaved(const std::string& file, bool cased) {
    test::IniModel model{cased};
    model.load(file, '\n');
    return model.save();
}

class IniFile : public testing::Test {
protected:
    std::string saved(VornIniFile& ini) { return ini.save(L"out") ? files.get(L"out") : "none"; }
    // Loads and saves a file; also line by line.
    std::string checked(const std::string& file, bool cased) {
        SCOPED_TRACE(testing::PrintToString(file.substr(0, 99)));
        files.put(L"in", file);
        VornIniFile ini(L"in", true, cased), built(cased);
        VornIniFile::Sections sections{VornIniFile_Private::StringLT_Fancy(cased)};
        VornIniFile_Private::SectionsBuildingOutputIterator builder(&sections);
        const auto ends = static_cast<unsigned long>(std::ranges::count(file, '\n'));
        EXPECT_LE(splitBuffer(builder, file.data(), file.size(), '\n') - ends, 1u);
        for (const auto& [name, entries] : sections) built[name] = entries;
        EXPECT_EQ(saved(built), resaved(file, cased));
        EXPECT_EQ(saved(ini), resaved(file, cased));
        return saved(ini);
    }

    test::MemoryFiles files;
};

TEST_F(IniFile, FilesKeepEveryEntry) {
    const fs::path data = VORN_TEST_DATA;
    EXPECT_EQ(checked(contentOf(data / "forms.ini"), false), contentOf(data / "forms.folded.ini"));
    EXPECT_EQ(checked(contentOf(data / "forms.ini"), true), contentOf(data / "forms.cased.ini"));
    const char* const chosen = std::getenv("VORN_INI_CORPUS");
    const fs::path corpus = chosen ? chosen : VORN_INI_CORPUS;
    if (!fs::is_directory(corpus)) GTEST_SKIP() << "VORN_INI_CORPUS names no folder of real files";
    for (const auto& file : fs::directory_iterator(corpus)) {
        for (const bool cased : {false, true}) {
            const std::string once = checked(contentOf(file), cased);
            EXPECT_EQ(checked(once, cased), once) << file;
        }
    }
}

TEST_F(IniFile, CallsThePlatformAsAgreedAndKeepsThePath) {
    files.put(L"a", "k=1\n[s]\nv\n");
    files.reportedSize = 20;
    VornIniFile ini(L"a", false, false);
    EXPECT_TRUE(ini.load(L"", '\n') && ini.save(L"b"));
    for (const int calls : {1, 2, 3}) {  // How far a load gets.
        test::MemoryLedger ledger;
        files.refuseToOpen = calls == 1;
        files.reportedSize = (1ull << 32) + (calls == 2 ? 0 : 7777);
        files.readNothing = calls == 3;
        EXPECT_FALSE(ini.load(L"a", '\n'));
        EXPECT_EQ(std::ranges::count(ledger.sizes(), 7777u), calls == 3);
    }
    files.refuseToOpen = true;
    EXPECT_FALSE(ini.save(L"") || ini.save(L"c") || ini.load(L"", '\n'));
    std::string calls;
    for (const std::string& call : files.calls) calls += call + ", ";
    EXPECT_EQ(calls,
              "open a 0 0 1 0, size, read 20, open b 1 3 0 0, write 5, write 2, write 5, write 3, "
              "open a 0 0 1 0, open a 0 0 1 0, size, open a 0 0 1 0, size, read 7777, "
              "open a 1 3 0 0, open c 1 3 0 0, open c 0 0 1 0, ");
    files.refuseToOpen = files.readNothing = false;
    EXPECT_TRUE(ini.load(L"b", '\n'));
    EXPECT_EQ(saved(ini), "k=1\r\nk=1\r\n\r\n[s]\r\nv\r\nv\r\n");
}

const auto failureOf = [](auto action) -> std::string {
    try {
        return action(), "";
    } catch (const Vorn::Exception::Base& e) {
        return e.what() + ": "s + e.msg() + " in " + e.file() + (e.line() > 0 ? "\n" : "?");
    }
};

const auto expectRefusals = [](auto walk) {
    const std::string tail = " invalid iterator in Vorn/VornIniFile\n";
    const std::string reads = "RuntimeError: Attempted to dereference" + tail;
    const std::string moves = "RuntimeError: Attempted to manipulate" + tail;
    EXPECT_EQ(failureOf([&] { walk.name(); }) + failureOf([&] { *walk; }), reads + reads);
    EXPECT_EQ(failureOf([&] { ++walk; }) + failureOf([&] { walk++; }), moves + moves);
    EXPECT_FALSE(walk.valid());
};

TEST_F(IniFile, SectionsAreFoundAndWalkedByTheCaseRule) {
    EXPECT_EQ(VornIniFile::kAnonymousSection(), "@@@ANONYMOUS_SECTION_RESERVED_NAME@@@");
    expectRefusals(VornIniFile::SectionIterator());
    for (const bool cased : {false, true}) {
        VornIniFile ini(cased);
        const VornIniFile& reader = ini;
        const String names[] = {"b", "_", "\xC3",
                                "B", "1", "@@@Anonymous_SECTION_RESERVED_NAME@@@"};
        for (const String& name : names) EXPECT_TRUE(ini[name].empty());
        std::string initials;
        auto walk = reader.getSectionIterator();
        while (walk.valid()) initials += (walk++).name()[0];
        EXPECT_EQ(initials, cased ? "1@B_b\xC3" : "1@_b\xC3");
        expectRefusals(walk);
        EXPECT_EQ((++ini.getSectionIterator()).name(), names[5]);
        EXPECT_EQ(saved(ini).substr(0, 5), cased ? "[1]\r\n" : "\r\n[1]");
        EXPECT_EQ(ini.removeSection("_") + ini.removeSection("B") + ini.removeSection("B"), 2u);
        EXPECT_EQ(ini.sectionExists("b"), cased);
        EXPECT_EQ(ini.getNumSections(), cased ? 4u : 3u);
        EXPECT_EQ(&reader["B"], &reader.getSection("none"));
        EXPECT_EQ(field<WString>(&ini, 0), L"out");
        EXPECT_EQ(field<bool>(&ini, sizeof(WString)), ini.getSectionNameCaseSensitivity());
        EXPECT_EQ(field<VornIniFile::Sections>(&ini, sizeof(WString) + 8).begin()->first, "1");
    }
}

TEST_F(IniFile, EntriesAreFoundByPrefixAndWrittenAsChanged) {
    VornIniFile ini(false);
    VornIniFile::Entries& section = ini[""];
    const VornIniFile::Entries& reader = section;
    for (const char* line : {"; x=1", "Height=2", "Width=3", "Hue"})
        section.emplace_back(line, '=');
    section[0].setAttrib("Depth"), section[2].setValue("4"), section[3].setLine("Hue;");
    EXPECT_EQ(saved(ini), "[]\r\nDepth=1\r\nHeight=2\r\nWidth=4\r\nHue;\r\n");
    // The positions found with and without regard to case, and the prefix.
    for (const char* row : {"22Wid", "42wid", "00", "44Width=", "41hEIGHT"}) {
        const String prefix = row + 2 + String("\0x", 2);
        const auto cased = VornIniFile::findBeginsWith(prefix, section, true, section.end());
        const auto folded = VornIniFile::findBeginsWith(prefix, reader, false, reader.end());
        EXPECT_EQ(cased - section.begin(), row[0] - '0');
        EXPECT_EQ(folded - reader.begin(), row[1] - '0');
    }
    const std::string refusal = "LogicError: Not implemented yet! in Vorn/VornIniFile\n";
    EXPECT_EQ(failureOf([&] { VornIniFile::findContains("", section, true, {}); }), refusal);
    EXPECT_EQ(failureOf([&] { VornIniFile::findContains("", reader, true, {}); }), refusal);
}

TEST(IniFileOnDisk, TakesAnySize) {
    const std::string path = testing::TempDir() + std::to_string(std::random_device()()) + ".ini";
    VornIniFile ini(Vorn::WStringFromUTF8(path.c_str()), true, false);
    for (int i = 0; i < 100'000; ++i) ini[String(i)].emplace_back("k=1", '=');
    ini["0"].emplace_back("long", String('x', 8 << 20), '=');
    EXPECT_TRUE(ini.save(L""));
    VornIniFile again(Vorn::WStringFromUTF8(path.c_str()), true, false);
    EXPECT_TRUE(again.getNumSections() == 100'000 && again["0"] == ini["0"]);
    EXPECT_TRUE(fs::remove(path));
    EXPECT_FALSE(ini.load(L"", '\n') || ini.save(Vorn::WStringFromUTF8(path.c_str()) + L'\0'));
}

}  // namespace
