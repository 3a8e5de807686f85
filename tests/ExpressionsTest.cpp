// What ordinary expressions of texts mean where an overload that is added later could change it.

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <string_view>
#include <utility>

#include "Vorn/Vorn.h"

namespace {

const char* const null = nullptr;

TEST(Expressions, BuildTexts) {
    const auto forward = [](auto... from) { return String(from...); };
    EXPECT_STREQ(String(null), "");
    EXPECT_STREQ(String('x'), "x");
    EXPECT_STREQ(String(65), "65");
    EXPECT_STREQ(String(65u), "65");
    EXPECT_STREQ(String(short{65}), "65");
    EXPECT_STREQ(String(true), "1");
    EXPECT_STREQ(String(0.5f), "0.500000");
    EXPECT_STREQ(String(L"wide"), "wide");
    EXPECT_STREQ(forward(7), "7");
    EXPECT_STREQ(forward("cd", 1u), "c");
}

TEST(Expressions, JoinTexts) {
    const String ab("ab");
    EXPECT_STREQ(ab + null, "ab");
    EXPECT_STREQ(ab + nullptr, "ab");
    EXPECT_STREQ(ab + ab(1, 1), "abb");
    EXPECT_STREQ(ab + L"!", "ab!");
    EXPECT_STREQ(true ? ab : String("cd"), "ab");
}

TEST(Expressions, ChangeTexts) {
    String text;
    EXPECT_STREQ(text = std::string("ab"), "ab");
    EXPECT_STREQ(text += std::string_view("cd"), "abcd");
    EXPECT_STREQ(text += true, "abcd1");
    text[0] = text[1];
    EXPECT_STREQ(text, "bbcd1");
    EXPECT_STREQ(text = nullptr, "");
}

TEST(Expressions, CompareTexts) {
    const String ab("ab"), none;
    EXPECT_TRUE("ab" == ab);
    EXPECT_TRUE("cd" != ab);
    EXPECT_TRUE(ab == ab(0, 2));
    EXPECT_TRUE(none == nullptr);
    EXPECT_TRUE("a" < ab);
    EXPECT_TRUE((ab <=> "b") < 0);
    EXPECT_TRUE(std::pair(ab, 1) < std::pair(ab, 2));
}

TEST(Expressions, ReadTexts) {
    const String ab("ab"), none;
    std::ostringstream stream;
    stream << ab << ab[0] << ab(1, 1).view();
    EXPECT_EQ(stream.str(), "abab");
    EXPECT_EQ(ab.index(String("b"), 0), 1u);
    EXPECT_TRUE(ab ? true : false);
    EXPECT_TRUE(none ? true : false) << "a pointer to no characters";
    EXPECT_FALSE(!ab);
}

}  // namespace
