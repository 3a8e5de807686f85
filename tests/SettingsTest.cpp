#include "Vorn/Settings.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <bit>
#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <locale>
#include <random>
#include <thread>
#include <utility>
#include <vector>

#include "Vorn/Exception.h"
#include "tests/support/SettingsModel.h"
#include "tests/support/TestPlatform.h"

namespace {

namespace fs = std::filesystem;
using Vorn::Case, Vorn::Settings;

Settings settingsOf(const std::string& text, Case rule = Case::ignored) {
    Settings settings(rule);
    settings.parse(text);
    return settings;
}

TEST(Settings, AChangeTouchesItsLinesAlone) {
    const struct {
        const char *before, *section, *key, *value, *after;
    } rows[] = {
        {"a = 1 \r\nb=2\n", "", "A", "9", "a = 9 \r\nb=2\n"},
        {"k =\t\r\n", "", "k", "v", "k =\tv\r\n"},
        {"k=1\nk=2\n", "", "k", "", "k=\nk=2\n"},
        {"[A]\n\tx = 1\n\n# B\n[B]\n", "a", "y", "2", "[A]\n\tx = 1\n\ty = 2\n\n# B\n[B]\n"},
        {"[A]\n[B]\nx=1\n", "A", "y", "2", "[A]\ny=2\n[B]\nx=1\n"},
        {"[A]\nx=1\n[B]\n[A]\nz=1\n", "A", "y", "2", "[A]\nx=1\n[B]\n[A]\nz=1\ny=2\n"},
        {"[A]\r\nx=1", "A", "y", "2", "[A]\r\nx=1\r\ny=2\r\n"},
        {"k=1\r\n[A]\r\nx = 1", "B", "y", "2", "k=1\r\n[A]\r\nx = 1\r\n\r\n[B]\r\ny = 2\r\n"},
        {"x=1\n\n", "B", "y", "2", "x=1\n\n[B]\ny=2\n"},
        {"", "B", "y", "2", "[B]\ny=2\n"},
        {"[A]\n", "", "k", "v", "k=v\n[A]\n"},
        {"\xEF\xBB\xBF[A]\nx=1\n", "A", "x", "2", "\xEF\xBB\xBF[A]\nx=2\n"},
        {"\xEF\xBB\xBF[A]\n", "", "k", "v", "\xEF\xBB\xBFk=v\n[A]\n"},
        {"\t[A]\n", "", "k", "v", "\t[A]\nk=v\n"},
        // A setting is erased where no value is given, a section where no key is.
        {"[A]\nx=1\n; kept\nX = 2\ny=3\n[a]\nx=4", "A", "x", nullptr, "[A]\n; kept\ny=3\n[a]\n"},
        {"[A]\nx=1\n\n# B\n[B]\ny=2\n", "a", nullptr, nullptr, "# B\n[B]\ny=2\n"},
        {"[A]\n# x\nx=1\n[B]\ny=2\n", "A", nullptr, nullptr, "[B]\ny=2\n"},
        {"[A]\nx=1\n\n[B]\ny=2\n# end\n", "B", nullptr, nullptr, "[A]\nx=1\n\n"},
        {"[@@@ANONYMOUS_SECTION_RESERVED_NAME@@@]\nx=1\n", "", nullptr, nullptr, ""},
        {"[A]\nx=1\n[B]\n[A]\n; a\n[A]\nx=2\n", "A", nullptr, nullptr, "[B]\n"},
        {"\xEF\xBB\xBFx=1\n[A]\n", "", nullptr, nullptr, "\xEF\xBB\xBF[A]\n"},
        {"\xEF\xBB\xBF[A]\nx=1\n", "A", nullptr, nullptr, "\xEF\xBB\xBF"},
        {"x=1\n\t[A]\n", "", nullptr, nullptr, "\n\t[A]\n"},
        {"[A]\n\xEF\xBB\xBF; B\n[B]\n", "A", nullptr, nullptr, "\n\xEF\xBB\xBF; B\n[B]\n"},
    };
    for (const auto& row : rows) {
        Settings settings = settingsOf(row.before);
        if (row.value)
            settings.set(row.section, row.key, row.value);
        else if (row.key)
            settings.erase(row.section, row.key);
        else
            settings.eraseSection(row.section);
        EXPECT_EQ(settings.text(), row.after) << "from " << row.before;
    }
}

template <class T>
void expectRoundTrip(const T& value) {
    Settings settings = settingsOf("[S]\nk = old\n");
    settings.set("S", "k", value);
    EXPECT_EQ(settings.get("S", "k", T{}), value) << settings.text();
}

TEST(Settings, ValuesOfEveryTypeComeBack) {
    expectRoundTrip(true);
    expectRoundTrip<signed char>(-128);
    expectRoundTrip(std::numeric_limits<long long>::min());
    expectRoundTrip(std::numeric_limits<unsigned long long>::max());
    expectRoundTrip(0.1F);
    expectRoundTrip(String("text"));
    expectRoundTrip(std::string("a=b; c"));
    expectRoundTrip(WString(L"gr\u00FCn"));
    expectRoundTrip(fs::path("/videos/gr\xC3\xBCn.mov"));
    expectRoundTrip(std::vector<int>{});
    expectRoundTrip(std::vector<double>{0.1, -2});
    expectRoundTrip(std::vector<std::string>{"", "a b", ""});
    expectRoundTrip(Vector<String>{"one", "two"});
}

TEST(Settings, DoublesComeBackBitByBitUnderAnyLocale) {
    struct CommaForPoint : std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
    };
    const std::locale former = std::locale::global(std::locale({}, new CommaForPoint));
    const std::string formerNumeric = std::setlocale(LC_NUMERIC, nullptr);
    std::setlocale(LC_NUMERIC, "de_DE.UTF-8");  // Where there is one.
    std::mt19937_64 random(1);
    Settings settings;
    for (int n = 0; n < 10'000; ++n) {
        const auto bits = n == 0 ? std::uint64_t{1} << 63 : random();
        const auto value = std::bit_cast<double>(bits);
        if (value != value) continue;
        settings.set("S", "k", value);
        EXPECT_EQ(std::bit_cast<std::uint64_t>(settings.get("S", "k", 0.0)), bits) << value;
    }
    std::locale::global(former);
    std::setlocale(LC_NUMERIC, formerNumeric.c_str());
}

TEST(Settings, ValuesAreReadOrTheFallbackIs) {
    for (const std::string word : {"true", "Yes", "ON", "1"})
        EXPECT_TRUE(settingsOf("k=" + word).get("", "k", false)) << word;
    for (const std::string word : {"false", "No", "OFF", "0"})
        EXPECT_FALSE(settingsOf("k=" + word).get("", "k", true)) << word;
    EXPECT_EQ(settingsOf("k=+5").get("", "k", 0), 5);
    const std::vector<int> spaced = settingsOf("k=1 , 2").get("", "k", std::vector<int>());
    EXPECT_EQ(spaced, (std::vector<int>{1, 2}));
    const Settings settings =
        settingsOf("large=300\nreal=1.5\npart=5 px\nlist=1,x\nempty=\nhuge=1e999");
    EXPECT_TRUE(settings.get("", "large", true)) << "not a word for false";
    EXPECT_EQ(settings.get<unsigned char>("", "large", 7), 7);
    EXPECT_EQ(settings.get("", "real", 7), 7);
    EXPECT_EQ(settings.get("", "part", 7), 7);
    EXPECT_EQ(settings.get("", "huge", 7.0), 7.0);
    EXPECT_EQ(settings.get("", "empty", 7), 7);
    EXPECT_EQ(settings.get("", "empty", "none"), "");
    EXPECT_EQ(settings.get("", "none", "none"), "none");
    EXPECT_EQ(settings.get("", "none", L"none"), L"none");
    EXPECT_EQ(settings.get("", "list", std::vector<int>{7}), std::vector<int>{7});
}

TEST(Settings, RefusesWhatNoLineCanHold) {
    using namespace std::string_literals;
    Settings settings = settingsOf("[a]\nk=1\n");
    const auto expectRefusal = [&](const std::string& section, const std::string& key,
                                   const auto& value) {
        EXPECT_THROW(settings.set(section, key, value), Vorn::Exception::RuntimeError)
            << section << '/' << key << '/' << testing::PrintToString(value);
    };
    for (const std::string& section : {"a\nb"s, "a\0b"s}) expectRefusal(section, "k", "v");
    for (const char* key : {"", "k\nx", " k", "k=", "[k", ";k", "#k", "k\x7F", "\xEF\xBB\xBFk"})
        expectRefusal("a", key, "v");
    for (const std::string& value : {"v\n"s, "a\rb"s, "v "s, "\tv"s, "v\0"s})
        expectRefusal("a", "k", value);
    expectRefusal("a", "k", std::vector{""s});
    for (const std::string& element : {"a,b"s, " a"s, "a "s})
        expectRefusal("a", "k", std::vector{"x"s, element, "y"s});
    EXPECT_EQ(settings.text(), "[a]\nk=1\n");
}

TEST(Settings, TakesItsOwnViews) {
    Settings settings = settingsOf("first=a long text that has to be copied\n");
    for (int n = 0; n < 1000; ++n) {
        settings.set("", "second", *settings.find("", "first"));
        settings.set("", "first", *settings.find("", "second"));
    }
    EXPECT_EQ(settings.get("", "first", ""), "a long text that has to be copied");
}

TEST(Settings, CopiesAreDeepAndMovedFromIsEmpty) {
    Settings settings = settingsOf("k=1\n", Case::exact);
    Settings copy(settings);
    copy.set("", "K", 2);
    EXPECT_EQ(settings.text(), "k=1\n");
    Settings moved(std::move(copy));
    EXPECT_EQ(moved.text(), "k=1\nK=2\n");
    EXPECT_EQ(copy.text(), "");  // NOLINT: that it is empty is what it tries.
    copy.set("", "k", 3);
    settings = copy;
    EXPECT_EQ(settings.text(), "k=3\n");
}

TEST(Settings, LoadingAndSavingSayWhetherTheyDid) {
    test::MemoryFiles files;
    Settings settings = settingsOf("[a]\nk=" + std::string(100'000, 'x'));
    settings.set("a", "j", "2");
    const std::string text = settings.text();
    EXPECT_FALSE(settings.load(L"none"));
    EXPECT_TRUE(settings.save(L"file"));
    EXPECT_EQ(files.get(L"file"), text);
    EXPECT_TRUE(Settings().save(L"empty"));
    for (bool* failure :
         {&files.refuseToOpen, &files.writeNothing, &files.readNothing, &files.damageWrites}) {
        *failure = true;
        EXPECT_FALSE(settings.save(L"file"));
        *failure = false;
    }
    files.put(L"file", "[a]\nk=1\n");
    files.readNothing = true;
    EXPECT_FALSE(settings.load(L"file"));
    files.readNothing = false;
    files.reportedSize = (std::uint64_t{1} << 32) + 7;
    EXPECT_FALSE(settings.load(L"file"));
    EXPECT_FALSE(settings.save(L"file"));
    EXPECT_EQ(settings.text(), text) << "loading that fails changes nothing";
}

TEST(Settings, ManyThreadsReadAtOnce) {
    Settings settings;
    for (int n = 0; n < 1000; ++n) settings.set(std::to_string(n), "k", n);
    std::atomic<int> found = 0;
    const auto readAll = [&found, &read = std::as_const(settings)] {
        for (const auto& section : read.sections())
            if (section.name() == std::to_string(read.get(section.name(), "k", -1))) ++found;
    };
    std::array<std::jthread, 4> readers;
    for (std::jthread& reader : readers) reader = std::jthread(readAll);
    for (std::jthread& reader : readers) reader.join();
    EXPECT_EQ(found, 4000);
}

TEST(Settings, RealFilesStayAsTheyAre) {
    std::vector<fs::path> paths{fs::path(VORN_TEST_DATA) / "forms.ini"};
    const char* const more = std::getenv("VORN_REAL_FILES");
    for (const fs::path folder : {VORN_INI_CORPUS, more ? more : ""})
        if (fs::is_directory(folder))
            std::ranges::copy(fs::directory_iterator(folder), std::back_inserter(paths));
    for (const fs::path& path : paths) {
        SCOPED_TRACE(path);
        std::ifstream in(path);
        const std::string text(std::istreambuf_iterator<char>(in), {});
        if (text.empty() || text.size() > 100'000) continue;
        for (const Case rule : {Case::ignored, Case::exact}) {
            test::MemoryFiles files;
            files.put(L"in", text);
            Settings settings(rule);
            EXPECT_TRUE(settings.load(fs::path("in")));
            EXPECT_TRUE(settings.save(fs::path("out")));
            EXPECT_EQ(files.get(L"out"), text);
            EXPECT_TRUE(test::listedBy(settings) == test::SettingsModel(text, rule).listed());
        }
    }
}

}  // namespace
