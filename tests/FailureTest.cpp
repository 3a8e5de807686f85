#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>

#include "Vorn/Vorn.h"
#include "tests/support/TestPlatform.h"

namespace {

using namespace Vorn::Check::Private;
using namespace std::string_literals;

// The object of an exception as clients compiled it, behind the pointer to its virtual table.
struct ExceptionWords {
    const void* table;
    const char *what, *msg, *file;
    int line;
};

// Returns the line that the exception tells, or 0 if there is none.
int expectThrown(const std::function<void()>& fail, const std::string& expected) {
    try {
        fail();
    } catch (const Vorn::Exception::Base& failure) {
        const auto& words = reinterpret_cast<const ExceptionWords&>(failure);
        EXPECT_EQ(failure.what() + ": "s + failure.file() + ": " + failure.msg(), expected);
        EXPECT_EQ(words.what, failure.what());
        EXPECT_EQ(words.msg, failure.msg());
        EXPECT_EQ(words.file, failure.file());
        EXPECT_EQ(words.line, failure.line());
        return failure.line();
    }
    return 0;
}

TEST(Exception, ThrownAtAPlaceHoldsItsTextsInOrder) {
    const std::string longer(300, 'x'), check = "RuntimeError: f: VornCheck: f(7) ";
    const std::pair<std::function<void()>, std::string> rows[] = {
        {[] { throw Vorn::Exception::LogicError("m", "f", 7); }, "LogicError: f: m"},
        {[] { throwShort("f", 7, 5); }, check + "FAILED with code 0x00000005"},
        {[] { throwDetailed("f", 7, "e", -1); }, check + "[e] = 0xffffffff"},
        {[&] { throwDetailed("f", 7, longer.c_str(), 0); }, check + '[' + longer.substr(0, 238)},
    };
    for (const auto& [fail, expected] : rows)
        EXPECT_EQ(expectThrown(fail, expected), 7) << expected;
}

TEST(Exception, MisuseOfIniFilesTellsItsPlace) {
    VornIniFile ini(true);
    VornIniFile::Entries none;
    auto walk = ini.getSectionIterator();
    VornIniFile::ConstSectionIterator reader;
    EXPECT_FALSE(reader.valid());
    const std::string use = "RuntimeError: Vorn/VornIniFile: Attempted to ";
    const std::string read = use + "dereference invalid iterator";
    const std::string move = use + "manipulate invalid iterator";
    const std::string find = "LogicError: Vorn/VornIniFile: Not implemented yet!";
    const std::pair<std::function<void()>, std::string> rows[] = {
        {[&] { walk.name(); }, read},
        {[&] { *walk; }, read},
        {[&] { ++walk; }, move},
        {[&] { reader++; }, move},
        {[&] { VornIniFile::findContains("", none, true, {}); }, find},
        {[&] { VornIniFile::findContains("", std::as_const(none), true, {}); }, find},
    };
    for (const auto& [misuse, expected] : rows)
        EXPECT_GT(expectThrown(misuse, expected), 0) << expected;
}

// In a process that has logged nothing before: the first line is timed before the start is taken.
TEST(Check, LogsFailuresAndSlowCalls) {
    test::Clock clock(1000);
    clock.step = 250;
    const std::string longer(5000, 'x');
    testing::internal::CaptureStdout();
    EXPECT_TRUE(checkAndLog(0, "f", 1, "e", true));
    EXPECT_FALSE(checkAndLog(-1, "f", 2, "e", false));
    EXPECT_TRUE(checkAndLog(0, "f", 3, "e", true, 10.0, 9.99));
    EXPECT_TRUE(checkAndLog(0, "f", 4, "e", true, 0.0, 12.5));
    EXPECT_TRUE(checkAndLog(1, "f", 5, "e", true, 10.0, 10.0));
    EXPECT_FALSE(checkAndLog(-2, "f", 6, "e", false, 10.0, 12.5));
    Vorn::LogTimed("%s", longer.c_str());
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "-0.250   : VornCheck: f(2) [e] = 0xffffffff\n"
              "0.250    : VornCheck: f(5) [e] took 10.00\n"
              "0.500    : VornCheck: f(6) [e] took 12.50\n"
              "0.750    : VornCheck: f(6) [e] = 0xfffffffe\n"
              "1.000    : " +
                  longer.substr(0, 4095));
    EXPECT_EQ(Vorn::SecondsNow(), 2.75);
    EXPECT_TRUE(logInDebug());
}

struct OneProcessorMore : iSystemInfo {
    unsigned getNumProcessors() override { return known + 1; }

    const unsigned known = Vorn::CPUInfo::getNumProcessors();
    const test::Override<iSystemInfo> installation{this};
};

TEST(CPUInfo, KeepsItsFirstAnswer) {
    const OneProcessorMore later;
    EXPECT_GT(later.known, 0u);
    EXPECT_EQ(Vorn::CPUInfo::getNumProcessors(), later.known);
}

}  // namespace
