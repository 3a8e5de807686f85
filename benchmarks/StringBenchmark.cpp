// What texts cost: ours beside the standard string's, Qt's and Abseil's.

#include <benchmark/benchmark.h>

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "Vorn/String.h"
#include "Vorn/Vector.h"

#ifdef VORN_PEER_QT
#include <QByteArray>
#include <QList>
#define QT(...) __VA_ARGS__
#else
#define QT(...)
#endif
#ifdef VORN_PEER_ABSEIL
#include <absl/strings/str_replace.h>
#include <absl/strings/str_split.h>
#define ABSEIL(...) __VA_ARGS__
#else
#define ABSEIL(...)
#endif

#define FOR_EACH_TEXT(function)                              \
    BENCHMARK_TEMPLATE(function, String)->Apply(sweep);      \
    BENCHMARK_TEMPLATE(function, std::string)->Apply(sweep); \
    QT(BENCHMARK_TEMPLATE(function, QByteArray)->Apply(sweep))

namespace {

void sweep(benchmark::internal::Benchmark* sizes) {
    sizes->RangeMultiplier(10)->Range(10, 1'000'000);
}

// `piece` again and again, as long as the benchmark says.
std::string textOf(const benchmark::State& state, std::string_view piece = "x") {
    const auto size = static_cast<std::size_t>(state.range(0));
    std::string text;
    while (text.size() < size) text += piece;
    text.resize(size);
    return text;
}

template <class Text>
void buildAndDrop(benchmark::State& state) {
    const std::string text = textOf(state);
    for (auto _ : state) {
        Text built(text.c_str());
        benchmark::DoNotOptimize(built);
    }
}
FOR_EACH_TEXT(buildAndDrop);

template <class Text>
void copyAndDrop(benchmark::State& state) {
    const Text original(textOf(state).c_str());
    for (auto _ : state) {
        Text copy(original);
        benchmark::DoNotOptimize(copy);
    }
}
FOR_EACH_TEXT(copyAndDrop);

template <class Text>
void copyAndWrite(benchmark::State& state) {
    const Text original(textOf(state).c_str());
    for (auto _ : state) {
        Text copy(original);
        copy[0] = 'y';
        benchmark::DoNotOptimize(copy);
    }
}
FOR_EACH_TEXT(copyAndWrite);

// From an empty text to one of the size.
template <class Text>
void appendCharacters(benchmark::State& state) {
    for (auto _ : state) {
        Text built;
        for (auto n = state.range(0); n > 0; --n) built += 'x';
        benchmark::DoNotOptimize(built);
    }
}
FOR_EACH_TEXT(appendCharacters);

// 64 times 16 bytes, onto a fresh text of the size.
template <class Text>
void appendPieces(benchmark::State& state) {
    const std::string text = textOf(state);
    for (auto _ : state) {
        Text built(text.c_str());
        for (int n = 0; n < 64; ++n) built += "sixteen bytes ..";
        benchmark::DoNotOptimize(built);
    }
}
FOR_EACH_TEXT(appendPieces);

template <class Text>
void concatenate(benchmark::State& state) {
    const Text a(textOf(state).c_str()), b(textOf(state).c_str());
    for (auto _ : state) {
        Text both(a + b);
        benchmark::DoNotOptimize(both);
    }
}
FOR_EACH_TEXT(concatenate);

#ifdef VORN_PEER_ABSEIL
struct Abseil : std::string {
    using std::string::string;
};

std::string substituteAll(const Abseil& text) {
    return absl::StrReplaceAll(text, {{".", "::"}});
}
std::vector<std::string> splitLine(const Abseil& line) {
    return absl::StrSplit(absl::string_view(line), ',');
}
#endif

String substituteAll(const String& text) {
    return text.substitute(".", "::");
}

// One pass over the text.
std::string substituteAll(const std::string& text) {
    std::string result;
    result.reserve(text.size() * 2);
    std::size_t from = 0;
    for (std::size_t at = 0; (at = text.find('.', from)) != text.npos; from = at + 1)
        result.append(text, from, at - from).append("::");
    return result.append(text, from);
}

template <class Text>
void substitute(benchmark::State& state) {
    const Text text(textOf(state, "word by.").c_str());
    for (auto _ : state) benchmark::DoNotOptimize(substituteAll(text));
}
BENCHMARK_TEMPLATE(substitute, String)->Apply(sweep);
BENCHMARK_TEMPLATE(substitute, std::string)->Apply(sweep);
ABSEIL(BENCHMARK_TEMPLATE(substitute, Abseil)->Apply(sweep));

Vector<String> splitLine(const String& line) {
    Vector<String> fields;
    line.split(',', fields, 0);
    return fields;
}

QT(QList<QByteArray> splitLine(const QByteArray& line) { return line.split(','); })

template <class Text>
void split(benchmark::State& state) {
    const Text line(textOf(state, "field,").c_str());
    for (auto _ : state) benchmark::DoNotOptimize(splitLine(line).size());
}
BENCHMARK_TEMPLATE(split, String)->Apply(sweep);
QT(BENCHMARK_TEMPLATE(split, QByteArray)->Apply(sweep));
ABSEIL(BENCHMARK_TEMPLATE(split, Abseil)->Apply(sweep));

// The text ends in what is looked for. No compiler sees through the pointer.
template <class Search>
void find(benchmark::State& state, const char* filling, const char* needle, Search search) {
    const std::string text = textOf(state, filling) + needle;
    const String searched(text.c_str());
    for (auto _ : state) {
        benchmark::DoNotOptimize(needle);
        benchmark::DoNotOptimize(search(searched, needle));
    }
}
unsigned ours(const String& text, const char* needle) {
    return text.index(needle, 0);
}
const void* libc(const String& text, const char* needle) {
    return std::strstr(text, needle);
}
const void* sized(const String& text, const char* needle) {
    return memmem(text, text.size(), needle, std::strlen(needle));
}
#define FIND(name, filling, needle)                                           \
    BENCHMARK_CAPTURE(find, name##_String, filling, needle, ours)->Arg(1000); \
    BENCHMARK_CAPTURE(find, name##_strstr, filling, needle, libc)->Arg(1000); \
    BENCHMARK_CAPTURE(find, name##_memmem, filling, needle, sized)->Arg(1000)
FIND(rare, "once upon a time there was a tale ", "zebra crossing");
FIND(frequent, "there the tender teller tests the tea ", "telltale");
FIND(repeated, "a", "aaaaaaaaab");

}  // namespace
