// What ordinary expressions of texts mean. Overloads that are added later must not change it.

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
    const String ab("ab");
    const char* const cd = "cd";
    EXPECT_STREQ(String(), "");
    EXPECT_STREQ(String(nullptr), "");
    EXPECT_STREQ(String(null), "");
    EXPECT_STREQ(String(cd), "cd");
    EXPECT_STREQ(String(cd, 1), "c");
    EXPECT_STREQ(String(ab), "ab");
    EXPECT_STREQ(String(ab, 1), "a");
    EXPECT_STREQ(String(ab(1, 9)), "b");
    EXPECT_STREQ(String('x'), "x");
    EXPECT_STREQ(String('x', 3), "xxx");
    EXPECT_STREQ(String(-1), "-1");
    EXPECT_STREQ(String(0.5), "0.500000");
    EXPECT_STREQ(String(L"wide"), "wide");
    EXPECT_STREQ(String(std::string_view("view")), "view");
    EXPECT_STREQ(String(std::string("text")), "text");
    EXPECT_STREQ(String(65), "65");
    EXPECT_STREQ(String(65u), "65");
    EXPECT_STREQ(String(short{65}), "65");
    EXPECT_STREQ(String(true), "1");
    EXPECT_STREQ(String(0.5f), "0.500000");
    EXPECT_STREQ(String('x', 3), "xxx");
    EXPECT_STREQ(forward(7), "7");
    EXPECT_STREQ(forward("cd", 1u), "c");
}

TEST(Expressions, JoinTexts) {
    const String ab("ab");
    EXPECT_STREQ(ab + null, "ab");
    EXPECT_STREQ(ab + nullptr, "ab");
    EXPECT_STREQ(ab + ab, "abab");
    EXPECT_STREQ(ab + "cd", "abcd");
    EXPECT_STREQ("cd" + ab, "cdab");
    EXPECT_STREQ(ab + String(5), "ab5");
    EXPECT_STREQ(ab + ab(1, 1), "abb");
    EXPECT_STREQ(ab + L"!", "ab!");
    EXPECT_STREQ(true ? ab : String("cd"), "ab");
}

TEST(Expressions, ChangeTexts) {
    String text;
    EXPECT_STREQ(text = 'x', "x");
    EXPECT_STREQ(text += "cd", "xcd");
    EXPECT_STREQ(text = String("ab"), "ab");
    EXPECT_STREQ(text += String("cd"), "abcd");
    EXPECT_STREQ(text += 'x', "abcdx");
    EXPECT_STREQ(text = std::string("ab"), "ab");
    EXPECT_STREQ(text += std::string_view("cd"), "abcd");
    EXPECT_STREQ(text += -5, "abcd-5");
    EXPECT_STREQ(text += 0.5, "abcd-50.500000");
    EXPECT_STREQ(text = "cd", "cd");
    EXPECT_STREQ(text += 65u, "cd65");
    EXPECT_STREQ(text += true, "cd651");
    text[0] = text[1];
    EXPECT_STREQ(text, "dd651");
    EXPECT_STREQ(text = nullptr, "");
}

TEST(Expressions, CompareTexts) {
    const String ab("ab"), none;
    EXPECT_TRUE(ab == ab);
    EXPECT_TRUE(ab == "ab");
    EXPECT_TRUE(ab != String("cd"));
    EXPECT_TRUE(ab != "cd");
    EXPECT_TRUE(ab < "b");
    EXPECT_TRUE(ab < String("b"));
    EXPECT_TRUE(ab <= "ab");
    EXPECT_TRUE(ab > "a");
    EXPECT_TRUE(ab >= ab);
    EXPECT_TRUE(none == String("  "));
    EXPECT_FALSE(none < ab);
    EXPECT_TRUE("ab" == ab);
    EXPECT_TRUE("cd" != ab);
    EXPECT_TRUE(ab == ab(0, 2));
    EXPECT_TRUE(none == nullptr);
    EXPECT_TRUE(none == null);
    EXPECT_TRUE(none == "");
    EXPECT_TRUE("a" < ab);
    EXPECT_TRUE((ab <=> "b") < 0);
    EXPECT_TRUE(std::pair(ab, 1) < std::pair(ab, 2));
}

TEST(Expressions, ReadTexts) {
    const String ab("ab"), none;
    std::ostringstream stream;
    stream << ab << ab[0] << ab(1, 1).view();
    EXPECT_EQ(stream.str(), "abab");
    EXPECT_EQ(std::string(ab), "ab");
    EXPECT_EQ(ab[0], 'a');
    EXPECT_EQ(ab[1u], 'b');
    EXPECT_EQ(ab[2], 0);
    EXPECT_EQ(ab.size(), 2u);
    EXPECT_STREQ(static_cast<const char*>(ab), "ab");
    EXPECT_STREQ(ab.substitute("a", "A"), "Ab");
    EXPECT_EQ(String("2.5").asDouble(), 2.5);
    EXPECT_EQ(ab.index(String("b"), 0), 1u);
    EXPECT_TRUE(ab ? true : false);
    EXPECT_TRUE(none ? true : false) << "a pointer to no characters";
    EXPECT_FALSE(!ab);
}

}  // namespace
