// Fuzzing: the input, read as a sequence of choices. A find ends the process: `assert` stays on.
#pragma once

#undef NDEBUG
#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>

/// What every target defines. Returns 0.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

/// Texts are taken from the start, numbers from the end; an input that is used up gives zeros.
class FuzzInput {
public:
    FuzzInput(const std::uint8_t* data, std::size_t size)
        : left(reinterpret_cast<const char*>(data), size) {}

    bool empty() const { return left.empty(); }
    std::string text(std::size_t limit) {
        std::string taken(left.substr(0, pick(limit + 1)));
        left.remove_prefix(taken.size());
        return taken;
    }
    template <class Number>
    Number number() {
        Number value{};
        const std::size_t bytes = std::min(sizeof value, left.size());
        std::memcpy(&value, left.data() + left.size() - bytes, bytes);
        left.remove_suffix(bytes);
        return value;
    }
    /// Not an infinity, nor what is no number.
    double real() { return std::ldexp(number<int>(), number<short>() % 990); }
    /// Below `n` ≤ 256.
    unsigned pick(std::size_t n) { return static_cast<unsigned>(number<std::uint8_t>() % n); }
    bool flag() { return pick(2) > 0; }
    /// Does one of them.
    template <class... Choices>
    void choose(const Choices&... choices) {
        const std::function<void()> all[] = {std::cref(choices)...};
        all[pick(sizeof...(choices))]();
    }

private:
    std::string_view left;
};
