#include <bit>

#include "Vorn/Vector.h"
#include "Vorn/WStringUtils.h"
#include "fuzz/FuzzInput.h"
#include "tests/support/TextModels.h"

namespace {

using namespace Vorn;
using test::fieldsOf, test::folded, test::substituted;

void checkEnds(const WString& text, const WString& part, wchar_t c) {
    for (const bool cased : {false, true}) {
        const auto seen = [&](const WString& all) { return cased ? all : folded(all); };
        const WString whole = seen(text), word = seen(part.c_str());
        assert(startsWith(text, part, cased) == (!whole.empty() && whole.starts_with(word)));
        assert(endsWith(text, part, cased) == (!whole.empty() && whole.ends_with(word)));
        assert(endsWith(text, c, cased) == whole.ends_with(seen({c})));
    }
    assert(compareCaseInsensitive(text, part) ==
           (folded<WString>(text.c_str()) == folded<WString>(part.c_str())));
    const bool stays = text == WString(text.size(), c);
    WString front = text, back = text;
    assert(stripLeadingChars(front, c) == text.substr(stays ? 0 : text.find_first_not_of(c)));
    assert(stripTrailingChars(back, c) ==
           text.substr(0, stays ? text.size() : text.find_last_not_of(c) + 1));
}

void checkChanges(const WString& text, const WString& part, const WString& to, wchar_t c) {
    WString upper = text, lower = text, result = text;
    assert(toUpper(text) == folded(text, 'a'));
    assert(toUpper(upper) == folded(text, 'a'));
    assert(toLower(text) == folded(text));
    assert(toLower(lower) == folded(text));
    assert(substitute(text, c, L'!') == substituted<WString>(text, {c}, L"!", false));
    assert(substitute(text, part, to) == substituted(text, part, to, true));
    std::size_t limit = text.size();
    for (std::size_t at = text.size() + 1; at-- > 0;) {
        if (at + part.size() > limit) continue;
        if (folded(text.substr(at, part.size())) != folded(part)) continue;
        result.replace(at, part.size(), to);
        limit = at;
    }
    assert(substituteCaseInsensitive(text, part, to) == result);
}

void checkFields(const WString& text, wchar_t c, unsigned flags) {
    Vector<WString> fields;
    fields.add(text);
    WString packed = text;
    const auto expected = fieldsOf(text, c, flags, false);
    for (const WString& field : expected) packed += c + field;
    assert(split(text, c, fields, flags) == expected.size() + 1);
    assert(pack(fields, c) == packed);
    assert(std::equal(expected.begin(), expected.end(), fields.begin() + 1));
    const auto names = fieldsOf(text, L'/', SplitNoEmpties, false);
    assert(splitFilename(text) == (names.empty() ? WString() : names.back()));
}

// Each step uses an element that may be the vector's own.
template <class T>
void checkVector(FuzzInput in) {
    Vector<T> vector, other;
    std::vector<T> model;
    const auto drop = [&](auto from, auto to) {
        model.erase(model.begin() + from, model.begin() + to);
    };
    for (unsigned peak = 0; !in.empty();) {
        const unsigned size = vector.size(), at = in.pick(size + 1), to = in.pick(size + 1);
        const T fresh(WString(in.pick(20), L'x').c_str());
        const T& element = at < size ? vector[at] : fresh;
        const T copy(element);
        const auto found = static_cast<unsigned>(std::ranges::find(model, element) - model.begin());
        const bool has = found < size;
        unsigned index = found;
        in.choose(
            [&] {
                assert(vector.push_back(element) == size);
                model.push_back(copy);
            },
            [&] {
                vector.insert(element, to);
                model.insert(model.begin() + to, copy);
            },
            [&] {
                index = 0;
                assert(vector.intern(element, index) == !has);
                model.insert(model.end(), !has, copy);
            },
            [&] {
                assert(vector.removeIdx(to) == (to < size));
                drop(to, std::min(to + 1, size));
                assert(to == size || vector.end()[0] == T());
            },
            [&] {
                assert(vector.removeItem(element) == has);
                drop(found, found + has);
            },
            [&] {
                // The slots that become free keep their values.
                const std::vector<T> freed(model.end() - (std::max(at, to) - at), model.end());
                assert(vector.remove(at, to));
                drop(at, std::max(at, to));
                assert(std::equal(freed.begin(), freed.end(), vector.end()));
            },
            [&] {
                vector = Vector<T>(vector);
                peak = 0;
            },
            [&] {
                vector.consume(vector);
                other.consume(vector);
                vector.consume(other);
            });
        assert(!other.data() && other.empty() && other.getCapacity() == 0);
        peak = std::max(peak, vector.size());
        assert(index == found);
        assert(std::ranges::equal(vector, model));
        assert(vector.getCapacity() == (peak > 0 ? std::max(4u, std::bit_ceil(peak)) : 0));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput in(data, size);
    // Every character of the wide set can come; the usual ones come more often.
    const auto take = [&] {
        WString text;
        for (const char c : in.text(24)) text += c < 0 ? in.number<wchar_t>() : c;
        return text;
    };
    const WString text = take(), part = take(), other = take();
    const unsigned at = in.pick(text.size() + 1);
    const wchar_t c = at < text.size() ? text[at] : L'"';
    checkEnds(text, part, c);
    checkChanges(text, part, other, c);
    checkFields(text, c, in.pick(4));
    checkVector<WString>(in);
    checkVector<String>(in);
    return 0;
}
