// What ordinary expressions of texts mean. Overloads that are added later must not change it.

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>

#include "Vorn/Vorn.h"

namespace {

std::string shown(const String& text) {
    return {text, text.size()};
}
std::string shown(const char* text) {
    return text;
}
std::string shown(char c) {
    return {'\'', c, '\''};
}
std::string shown(bool answer) {
    return answer ? "true" : "false";
}
std::string shown(unsigned number) {
    return std::to_string(number) + "u";
}
std::string shown(double number) {
    return std::to_string(number);
}
std::string shown(const std::string& text) {
    return text;
}

template <class Value>
std::string streamed(const Value& value) {
    std::ostringstream out;
    out << value;
    return out.str();
}

struct Row {
    const char* expression;
    std::string result, expected;
};

#define ROW(expected, ...)                         \
    Row {                                          \
#__VA_ARGS__, shown(__VA_ARGS__), expected \
    }

TEST(Expressions, MeanWhatTheyMeant) {
    const String ab("ab"), none, blank("  ");
    const char* const cd = "cd";
    const char* const null = nullptr;
    const auto text = [](auto... from) { return String(from...); };
    const auto edited = [](auto edit) {
        String changed("ab");
        edit(changed);
        return changed;
    };
    const Row rows[] = {
        // Building.
        ROW("", String()),
        ROW("", String(nullptr)),
        ROW("", String(null)),
        ROW("cd", String(cd)),
        ROW("c", String(cd, 1)),
        ROW("ab", String(ab)),
        ROW("a", String(ab, 1)),
        ROW("b", String(ab(1, 9))),
        ROW("x", String('x')),
        ROW("xxx", String('x', 3)),
        ROW("65", String(65)),
        ROW("-1", String(-1)),
        ROW("65", String(65u)),
        ROW("0.500000", String(0.5)),
        ROW("0.500000", String(0.5f)),
        ROW("1", String(true)),
        ROW("65", String(short{65})),
        ROW("wide", String(L"wide")),
        ROW("view", String(std::string_view("view"))),
        ROW("text", String(std::string("text"))),
        ROW("7", text(7)),
        ROW("c", text("cd", 1u)),
        // Joining.
        ROW("abab", ab + ab),
        ROW("abcd", ab + cd),
        ROW("cdab", cd + ab),
        ROW("ab", ab + null),
        ROW("ab", ab + nullptr),
        ROW("ab5", ab + String(5)),
        ROW("abb", ab + ab(1, 1)),
        ROW("ab!", ab + L"!"),
        // Changing.
        ROW("abcd", edited([](String& s) { s += "cd"; })),
        ROW("abx", edited([](String& s) { s += 'x'; })),
        ROW("ab5", edited([](String& s) { s += 5; })),
        ROW("ab5", edited([](String& s) { s += 5u; })),
        ROW("ab0.500000", edited([](String& s) { s += 0.5; })),
        ROW("ab1", edited([](String& s) { s += true; })),
        ROW("cd", edited([](String& s) { s = "cd"; })),
        ROW("x", edited([](String& s) { s = 'x'; })),
        ROW("", edited([](String& s) { s = nullptr; })),
        ROW("xb", edited([](String& s) { s[0] = 'x'; })),
        ROW("bb", edited([](String& s) { s[0] = s[1]; })),
        ROW("ab x", edited([](String& s) { s[3] = 'x'; })),
        // Comparing.
        ROW("true", ab == ab),
        ROW("true", ab == "ab"),
        ROW("true", "ab" == ab),
        ROW("true", ab != cd),
        ROW("true", cd != ab),
        ROW("true", none == nullptr),
        ROW("true", none == blank),
        ROW("true", none == ""),
        ROW("true", none == null),
        ROW("true", ab == ab(0, 2)),
        ROW("true", ab < "b"),
        ROW("true", ab < String("b")),
        ROW("true", "a" < ab),
        ROW("true", ab <= "ab"),
        ROW("true", ab > "a"),
        ROW("true", ab >= ab),
        ROW("false", none < ab),
        ROW("true", (ab <=> "b") < 0),
        ROW("true", ab.compare("b") < 0),
        ROW("true", std::pair(ab, 1) < std::pair(ab, 2)),
        // Reading.
        ROW("'a'", ab[0]),
        ROW("'b'", ab[1u]),
        ROW("true", ab[2] == 0),
        ROW("ab", static_cast<const char*>(ab)),
        ROW("true", ab ? true : false),
        ROW("true", none ? true : false),
        ROW("false", !ab),
        ROW("2u", ab.size()),
        ROW("2.500000", String("2.5").asDouble()),
        ROW("1u", ab.index("b", 0)),
        ROW("1u", ab.index(String("b"), 0)),
        ROW("ab", ab(0, 2)),
        ROW("Ab", ab.substitute("a", "A")),
        ROW("ab", true ? ab : String(cd)),
        ROW("ab", streamed(ab)),
        ROW("ab", streamed(ab(0, 2).view())),
        ROW("a", streamed(ab[0])),
        ROW("ab", std::string(ab)),
    };
    for (const auto& [expression, result, expected] : rows)
        EXPECT_EQ(result, expected) << expression;
}

}  // namespace
