#include "Vorn/CriticalSection.h"

#include <gtest/gtest.h>

#include <thread>

#include "tests/support/TestPlatform.h"

namespace {

CriticalSection::Rep& repOf(CriticalSection& section) {
    return **reinterpret_cast<Vorn::Ptr<CriticalSection::Rep>*>(&section);
}

TEST(CriticalSection, KeepsBookOfEntries) {
    CriticalSection section;
    const unsigned self = OS()->threadServices()->currentThreadId();
    for (unsigned depth = 0; const char step : {'e', 'a', 'e', 'l', 'a', 'l', 'l', 'l'}) {
        if (step == 'e') section.enter();
        EXPECT_EQ(step == 'a' ? section.attemptEntry() : 0, 0);
        if (step == 'l') section.leave();
        depth += step == 'l' ? -1u : 1u;
        EXPECT_TRUE(repOf(section).count == depth && section.owner() == (depth > 0 ? self : 0));
        EXPECT_EQ((EasyCrit(section), repOf(section).count), depth + 1);
        std::jthread([&] { EXPECT_EQ(section.attemptEntry(), depth > 0 ? -1 : 0); });
    }
}

struct FailingThreads : iThreadServices {
    Vorn::Ptr<iCriticalSection> createCriticalSection(unsigned value) override {
        return value == 13 ? throw value : posix::threadServices->createCriticalSection(value);
    }
    unsigned currentThreadId() override { return 1; }
};

TEST(CriticalSection, HandsItsValueOn) {
    FailingThreads threads;
    const test::Override<iThreadServices> guard(&threads);
    CriticalSection section("name");
    EXPECT_THROW(CriticalSection(13u), unsigned);
    EXPECT_THROW(section.init(13), unsigned);
    EXPECT_STREQ(repOf(section).name, "name");
    section.init(8);
    EXPECT_EQ(repOf(section).name.textAt(0), nullptr);
}

}  // namespace
