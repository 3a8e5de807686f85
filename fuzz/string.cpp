#include <bit>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <vector>

#include "Vorn/StringRep.h"
#include "Vorn/SubString.h"
#include "Vorn/Vector.h"
#include "fuzz/FuzzInput.h"
#include "tests/support/TextModels.h"

namespace {

using test::bytesOf, test::fieldsOf, test::folded, test::substituted;

const StringRep* repOf(const String& s) {
    return *reinterpret_cast<StringRep* const*>(&s);
}

struct Strings {
    String strings[4];
    std::string models[4];
    SubString views[2] = {SubString(String()), SubString(String())};
    std::string seen[2];
};

// What reading `s` gives, beside `o` and about `word`, `c` and the number `n`.
void checkReads(const String& s, const String& o, const std::string& word, char c, unsigned n) {
    const std::string all = bytesOf(s), text(all.c_str()), other(static_cast<const char*>(o));
    const bool some = s.textAt(0), someO = o.textAt(0), both = some && someO;
    const char *const null = nullptr, *const w = word.c_str();
    const bool blank = all == std::string(all.size(), ' ');
    assert(s.isEmpty() == blank && static_cast<const char*>(s)[s.size()] == 0);
    assert((s == o) == (blank || o.isEmpty() ? blank && o.isEmpty() : text == other));
    assert((s.compare(o) <=> 0) == ((both ? text.compare(other) : some - someO) <=> 0));
    assert((s < o) == (both && text < other));
    assert((s <= o) == (both ? text <= other : some == someO));
    assert((s > o) == (both && text > other));
    assert((s >= o) == (both ? text >= other : some == someO));
    assert((s == w) == (text == word) && (s == null) == blank &&
           (s <= w) == (some && text <= word) && (s >= w) == (some && text >= word));
    assert(std::bit_cast<long>(s.asDouble()) == std::bit_cast<long>(std::atof(text.c_str())));
    assert(s.compareCaseInsensitive(w) == (word != "" && folded(word) == folded(text)));
    for (const bool cased : {false, true}) {
        const std::string part = cased ? word : folded(word), t = cased ? all : folded(all);
        assert(s.startsWith(w, cased) == t.starts_with(part));
        assert(s.endsWith(w, cased) == t.ends_with(part));
    }
    constexpr unsigned kNone = 0xFFFFFFFF;
    const std::size_t found = n < all.size() ? std::string(&all[n]).find(word) : kNone;
    assert(s.index(w, n) == (found < kNone ? n + found : kNone));
    assert(s.rindex(c) == (some ? static_cast<unsigned>(c ? text.rfind(c) : text.size()) : kNone));
    assert(s[n] == (n < all.size() ? all[n] : 0));
    std::vector<unsigned> marks(some);
    for (unsigned i = 0; i < text.size(); ++i)
        if (text[i] == c) marks.push_back(i);
    marks.resize(n + 2 + marks.size(), kNone);
    unsigned start = kNone, end = kNone, stop = marks[n + 1];
    const bool exists = marks[n] < kNone;
    if (exists && stop == kNone) stop = s.size();
    assert(s.nthIndex(n, c) == marks[n] && s.tokSpan(c, n, start, end) == exists && end == stop);
    assert(start == marks[n] + (marks[n] < stop && all[marks[n]] == c));
}

// What `String` leaves to those who hold a representation themselves.
void checkRep(const std::string& text, char c, unsigned from, unsigned to) {
    StringRep rep(text.data(), static_cast<unsigned>(text.size()));
    const auto bytes = [&] { return std::string(rep.buffer, rep.length); };
    rep.refCount = 2;
    const std::unique_ptr<StringRep> copy(rep.unshare());
    assert(rep.refCount == 1 && copy->refCount == 1 && bytes() == text);
    assert(std::string(copy->buffer, copy->capacity) == text.c_str() + std::string(1, '\0'));
    *copy = c;
    copy->buffer = copy->realloc(copy->buffer, copy->capacity);
    assert(std::string(copy->buffer, 2) == c + std::string(1, '\0'));
    // Searching ends at the zero byte; what stands behind it moves along.
    const std::string cut = text.c_str();
    const std::string made =
        substituted<std::string>(cut, &text[from], &text[to], false) + text.substr(cut.size());
    rep.substitute(rep.buffer + from, rep.buffer + to);
    assert(bytes() == made);
    const unsigned room = StringRep::sizeFor(rep.length);
    assert(rep.capacity == (made.size() > text.size() ? room : text.size() + 1));
    rep.append(nullptr, 1), rep.resizeFor(from);
    assert(rep.capacity == StringRep::sizeFor(from) && bytes() == made.substr(0, rep.capacity - 1));
}

// The operands may be parts of the string that is edited, or of one that shares its text.
void edit(Strings& all, FuzzInput& in) {
    const unsigned i = in.pick(4), j = in.pick(4), k = in.pick(4), v = in.pick(2);
    String &s = all.strings[i], &o = all.strings[j], &source = all.strings[k];
    std::string &m = all.models[i], &p = all.models[j], &seen = all.seen[v];
    SubString& view = all.views[v];
    if (s.size() > 200) s = String(), m = "";
    const unsigned offset = in.pick(source.size() + 1), n = in.pick(source.size() - offset + 1);
    const unsigned at = in.pick(s.size() + 4), count = in.flag() ? n : 0 - n;
    const unsigned asked = source.textAt(0) ? n : at;  // Null gives nothing, whatever is asked for.
    const char *const src = source.textAt(0), *const text = source.textAt(offset);
    const std::string given = all.models[k], taken = given.substr(offset, n), word = &given[offset];
    const bool shared = repOf(s) && repOf(s)->refCount > 1;
    const std::string old = p, cut = old.c_str(), own = shared ? m.c_str() : m;
    const char c = n > 0 ? taken[0] : in.number<char>(), d = o.size() > n ? old[n] : '\0';
    std::string wide = own, written;
    wide.resize(std::max<std::size_t>(at, own.size()), ' '), (written = wide).replace(at, 1, 1, d);
    const std::size_t head = m.find_first_not_of(' ') + 1, tail = m.find_last_not_of(' ') + 1;
    const std::size_t turn = own.empty() ? 0 : at % own.size();
    const std::size_t stop = taken.find_first_of(" \t\n\v\f\r");
    const auto add = [&](auto x) {
        s += x, m = own + std::to_string(x), assert(std::to_string(x) == bytesOf(String(x)));
    };
    in.choose(
        [&] { m = in.text(12), s = String(m.data(), static_cast<unsigned>(m.size())); },
        [&] { s = String(text, asked), m = taken; }, [&] { s = String(text), m = word; },
        [&] { s = c, m = c; }, [&] { s = String(c, n), m = std::string(n, c); },
        [&] { s = String(o, n), m = old.substr(0, n); },
        [&] { s = String(L"\xE9"), m = "\xC3\xA9"; }, [&] { s = o, m = old; },
        [&] { s = std::move(o), m = std::exchange(p, ""); },
        [&] {
            const bool takes = !repOf(s) && o.textAt(0);
            m = o.textAt(0) ? own + old : m, s += o;
            assert(!takes || repOf(s) == repOf(o));
        },
        [&] { s += text, m = text ? own + word : m; }, [&] { s += c, m = own + c; },
        [&] { s = o + source, m = src ? cut + given : old; },
        [&] { s = o + text, m = text ? cut + word : old; },
        [&] { s = (text ? text : "") + o, m = word + old; }, [&] { add(in.number<int>()); },
        [&] { add(in.number<unsigned>()); }, [&] { add(in.real()); },
        [&] { s.insert(src, asked, offset, at), m = wide.insert(at, taken); },
        [&] { s.replace(src, asked, offset, at), m = wide.replace(at, n, taken); },
        [&] { s.replaceAll(text, asked), m = taken; },
        [&] { s.remove(at, count), m = wide.erase(at, count).substr(0, own.size()); },
        [&] {
            if (own == m) s.substitute(c, d), std::ranges::replace(m, c, d);
        },
        [&] { s.toUpper(), m = folded(own, 'a'); }, [&] { s.toLower(), m = folded(own); },
        [&] { s.rotateLeft(at), m = (own + own).substr(turn, own.size()); },
        [&] { s.stripLeadingSpaces(), m = head > 1 ? own.substr(head - 1) : m; },
        [&] { s.stripTrailingSpaces(), m = tail && tail < m.size() ? own.substr(0, tail) : m; },
        [&] { s[at] = d, m = written; }, [&] { s[at] = o[n], m = written; },
        [&] {
            std::istringstream stream(taken);
            const int end = s.readFrom(stream);
            assert(stop < n ? end > 0 : end == -1);
            m = stop > 0 && n > 0 ? own + taken.substr(0, stop) : m;
        },
        [&] {
            const bool found = !old.empty() && cut.find(word) != std::string::npos;
            s = o.substitute(text, s);
            m = found ? substituted<std::string>(cut, word, m.c_str(), false) : old;
        },
        [&] {
            Vector<String> fields;
            const auto expected = fieldsOf(old, c, at % 4, true);
            assert(o.split(c, fields, at % 4) == expected.size());
            assert(std::ranges::equal(expected, fields, {}, {}, bytesOf));
            if (n < fields.size()) s = fields[n], m = expected[n];
        },
        [&] { view = o, seen = old; }, [&] { view.purge(), seen = ""; },
        [&] { view = all.views[1 - v], seen = all.seen[1 - v]; },
        [&] { view = SubString(o, at), seen = at < o.size() ? old.substr(at) : ""; },
        [&] {
            view = o(at, count), seen = at < o.size() ? old.substr(at, count) : "";
            assert(view.index() == (at < o.size() ? at : 0));
        },
        [&] { s = String(view), m = seen; },
        [&] { checkRep(taken, c, at % (n + 1), offset % (n + 1)); });
    assert(std::ranges::equal(all.strings, all.models, {}, bytesOf));
    assert(std::ranges::equal(all.views, all.seen, {}, bytesOf));
    const bool equal = std::string(all.seen[0].c_str()) == all.seen[1].c_str();
    assert((all.views[0] == all.views[1]) == (equal && all.seen[0].size() == all.seen[1].size()));
    checkReads(s, o, word, c, at);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput in(data, size);
    Strings all;
    while (!in.empty()) edit(all, in);
    for (SubString& view : all.views) view.purge();
    for (const String& s : all.strings)
        assert(!repOf(s) || repOf(s)->refCount == std::ranges::count(all.strings, repOf(s), repOf));
    return 0;
}
