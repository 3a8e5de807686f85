// Fuzzing: the input, read as a sequence of choices. A find ends the process: `assert` stays on.
#pragma once

#undef NDEBUG
#include <fuzzer/FuzzedDataProvider.h>

#include <cassert>

/// Texts are taken from the start, numbers from the end; an input that is used up gives zeros.
struct FuzzInput : FuzzedDataProvider {
    using FuzzedDataProvider::FuzzedDataProvider;

    std::string text(std::size_t limit) { return ConsumeRandomLengthString(limit); }
    /// Below `n`.
    unsigned pick(std::size_t n) {
        return ConsumeIntegralInRange<unsigned>(0, static_cast<unsigned>(n - 1));
    }
    /// Does one of them.
    template <class... Choices>
    void choose(const Choices&... choices) {
        unsigned chosen = pick(sizeof...(choices));
        ((chosen-- == 0 ? static_cast<void>(choices()) : void()), ...);
    }
};
