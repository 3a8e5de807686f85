#include <bit>

#include "Vorn/Vector.h"
#include "Vorn/WStringUtils.h"
#include "fuzz/FuzzInput.h"
#include "tests/support/TextModels.h"

namespace {

using namespace Vorn;
using test::fieldsOf, test::folded, test::substituted;

void checkTexts(const WString& text, const WString& part, const WString& to, wchar_t c) {
    for (const bool cased : {false, true}) {
        const auto seen = [&](const WString& all) { return cased ? all : folded(all); };
        const WString t = seen(text), word = seen(part.c_str());
        assert(startsWith(text, part, cased) == (!t.empty() && t.starts_with(word)));
        assert(endsWith(text, part, cased) == (!t.empty() && t.ends_with(word)));
        assert(endsWith(text, c, cased) == t.ends_with(seen({c})));
        assert(cased || compareCaseInsensitive(text, part) == (t.c_str() == word));
    }
    WString upper = text, lower = text, front = text, back = text, result = text;
    assert(toUpper(text) == folded(text, 'a') && toUpper(upper) == folded(text, 'a'));
    assert(toLower(text) == folded(text) && toLower(lower) == folded(text));
    const bool stays = text == WString(text.size(), c);
    assert(stripLeadingChars(front, c) == text.substr(stays ? 0 : text.find_first_not_of(c)));
    assert(stripTrailingChars(back, c) ==
           text.substr(0, stays ? text.size() : text.find_last_not_of(c) + 1));
    assert(substitute(text, c, L'!') == substituted<WString>(text, {c}, L"!", false));
    assert(substitute(text, part, to) == substituted(text, part, to, true));
    for (std::size_t x = text.size() + 1, limit = text.size(); x-- > 0;)
        if (x + part.size() <= limit && folded(text.substr(x, part.size())) == folded(part))
            result.replace(limit = x, part.size(), to);
    assert(substituteCaseInsensitive(text, part, to) == result);
}

void checkFields(const WString& text, wchar_t c, unsigned flags) {
    Vector<WString> fields;
    fields.add(text);
    WString packed = text;
    const auto expected = fieldsOf(text, c, flags, false);
    for (const WString& field : expected) packed += c + field;
    assert(split(text, c, fields, flags) == expected.size() + 1 && pack(fields, c) == packed);
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
        assert(!other.begin() && !other.size() && !other.getCapacity());
        peak = std::max(peak, vector.size());
        assert(index == found && std::ranges::equal(vector, model));
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
    checkTexts(text, part, other, c);
    checkFields(text, c, in.pick(4));
    checkVector<WString>(in);
    checkVector<String>(in);
    return 0;
}
