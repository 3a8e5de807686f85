#include <gtest/gtest.h>

#include <functional>
#include <utility>

#include "Vorn/Vorn.h"
#include "tests/support/TestPlatform.h"

namespace {

using namespace Vorn::Check::Private;
using namespace std::string_literals;

TEST(Exception, HoldsItsTextsInOrder) {
    VornIniFile ini(true);
    VornIniFile::Entries none;
    auto walk = ini.getSectionIterator();
    VornIniFile::ConstSectionIterator reader;
    EXPECT_FALSE(walk.valid() || reader.valid());
    const std::string longer(300, 'x'),
        check = "RuntimeError: f: VornCheck: f(7) ",
        read = "RuntimeError: Vorn/VornIniFile: Attempted to dereference invalid iterator",
        move = "RuntimeError: Vorn/VornIniFile: Attempted to manipulate invalid iterator",
        find = "LogicError: Vorn/VornIniFile: Not implemented yet!";
    const std::pair<std::function<void()>, std::string> rows[] = {
        {[] { throw Vorn::Exception::LogicError("m", "f", 7); }, "LogicError: f: m"},
        {[] { throwShort("f", 7, 5); }, check + "FAILED with code 0x00000005"},
        {[] { throwDetailed("f", 7, "e", -1); }, check + "[e] = 0xffffffff"},
        {[&] { throwDetailed("f", 7, longer.c_str(), 0); }, check + '[' + longer.substr(0, 238)},
        {[&] { walk.name(); }, read},
        {[&] { *walk; }, read},
        {[&] { ++walk; }, move},
        {[&] { reader++; }, move},
        {[&] { VornIniFile::findContains("", none, true, {}); }, find},
        {[&] { VornIniFile::findContains("", std::as_const(none), true, {}); }, find},
    };
    for (const auto& [action, expected] : rows) {
        try {
            action(), ADD_FAILURE();
        } catch (const Vorn::Exception::Base& e) {
            const auto* const words = reinterpret_cast<const char* const*>(&e);
            EXPECT_EQ(words[1] + ": "s + words[3] + ": " + words[2], expected);
            EXPECT_TRUE(e.what() == words[1] && e.msg() == words[2] && e.file() == words[3]);
            EXPECT_EQ(e.line(), reinterpret_cast<const int&>(words[4]));
            EXPECT_TRUE(e.line() == 7 || (e.line() > 0 && &action >= &rows[4].first));
        }
    }
}

// In a process that has logged nothing before: the first line is timed before the start is taken.
TEST(Check, LogsFailuresAndSlowCalls) {
    test::Clock clock(1000);
    clock.step = 250;
    testing::internal::CaptureStdout();
    EXPECT_TRUE(checkAndLog(0, "f", 1, "e", true) && !checkAndLog(-1, "f", 2, "e", false));
    EXPECT_TRUE(checkAndLog(0, "f", 3, "e", true, 10.0, 9.99));
    EXPECT_TRUE(checkAndLog(0, "f", 4, "e", true, 0.0, 12.5));
    EXPECT_TRUE(checkAndLog(1, "f", 5, "e", true, 10.0, 10.0));
    EXPECT_FALSE(checkAndLog(-2, "f", 6, "e", false, 10.0, 12.5));
    const std::string text(5000, 'x');
    Vorn::LogTimed("%s", text.c_str());
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "-0.250   : VornCheck: f(2) [e] = 0xffffffff\n"
              "0.250    : VornCheck: f(5) [e] took 10.00\n"
              "0.500    : VornCheck: f(6) [e] took 12.50\n"
              "0.750    : VornCheck: f(6) [e] = 0xfffffffe\n"
              "1.000    : " +
                  text.substr(0, 4095));
    EXPECT_TRUE(Vorn::SecondsNow() == 2.75 && logInDebug());
}

struct OneProcessorMore : iSystemInfo {
    explicit OneProcessorMore(unsigned number) : known(number) {}
    unsigned getNumProcessors() override { return known + 1; }

    const unsigned known;
    const test::Override<iSystemInfo> installation{this};
};

TEST(CPUInfo, KeepsItsFirstAnswer) {
    const unsigned known = Vorn::CPUInfo::getNumProcessors();
    EXPECT_GT(known, 0u);
    const OneProcessorMore later(known);
    EXPECT_EQ(Vorn::CPUInfo::getNumProcessors(), known);
}

}  // namespace
