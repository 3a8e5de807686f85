#include <algorithm>
#include <sstream>

#include "Vorn/StringRep.h"
#include "Vorn/SubString.h"
#include "Vorn/Vector.h"
#include "fuzz/FuzzInput.h"
#include "tests/support/StringModel.h"

namespace {

using namespace test;

template <class Rep, class Handle>
const Rep* repOf(const Handle& handle) {
    return *reinterpret_cast<Rep* const*>(&handle);
}

bool isShared(const String& s) {
    const auto* const rep = repOf<StringRep>(s);
    return rep && rep->refCount > 1;
}

struct Strings {
    // How many hold what `s` holds.
    long holders(const String& s) const {
        const auto* const rep = repOf<StringRep>(s);
        long count = std::ranges::count(strings, rep, repOf<StringRep, String>);
        const SubStringRep* known = nullptr;  // Views may share their range.
        for (const SubString& view : views) {
            const auto* const range = repOf<SubStringRep>(view);
            count += range && range != known && repOf<StringRep>(range->string) == rep;
            known = range;
        }
        return count;
    }

    String strings[4];
    std::string models[4];
    SubString views[2] = {SubString(String()), SubString(String())};
    std::string seen[2];
};

// The operands may be parts of the string that is edited, or of one that shares its text.
void edit(Strings& all, FuzzInput& in) {
    const unsigned i = in.pick(4), j = in.pick(4), k = in.pick(4), v = in.pick(2);
    String &s = all.strings[i], &o = all.strings[j], &source = all.strings[k];
    std::string &m = all.models[i], &p = all.models[j], &seen = all.seen[v];
    SubString& view = all.views[v];
    if (s.size() > 200) s = String(), m = "";
    const unsigned offset = in.pick(source.size() + 1), n = in.pick(source.size() - offset + 1);
    const unsigned at = in.pick(s.size() + 4), count = in.flag() ? n : 0 - n;
    const char *const src = source.textAt(0), *const text = source.textAt(offset);
    const std::string given = all.models[k], taken = given.substr(offset, n), word = &given[offset];
    const std::string old = p, cut = old.c_str(), own = isShared(s) ? m.c_str() : m;
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
        [&] { s = String(text, n), m = taken; }, [&] { s = String(text), m = word; },
        [&] { s = c, m = c; }, [&] { s = String(c, n), m = std::string(n, c); },
        [&] { s = String(o, n), m = old.substr(0, n); },
        [&] { s = String(L"\xE9"), m = "\xC3\xA9"; }, [&] { s = o, m = old; },
        [&] { s = std::move(o), m = std::exchange(p, ""); },
        [&] { m = o.textAt(0) ? own + old : m, s += o; },
        [&] { s += text, m = text ? own + word : m; }, [&] { s += c, m = own + c; },
        [&] { s = o + source, m = src ? cut + given : old; },
        [&] { s = o + text, m = text ? cut + word : old; },
        [&] { s = (text ? text : "") + o, m = word + old; }, [&] { add(in.number<int>()); },
        [&] { add(in.number<unsigned>()); }, [&] { add(in.real()); },
        [&] { s.insert(src, n, offset, at), m = wide.insert(at, taken); },
        [&] { s.replace(src, n, offset, at), m = wide.replace(at, n, taken); },
        [&] { s.replaceAll(text, n), m = taken; },
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
        [&] { view = o(at, count), seen = at < o.size() ? old.substr(at, count) : ""; },
        [&] { s = String(view), m = seen; }, [&] { assert(wrongRep(taken, c) == 0); });
    assert(std::ranges::equal(all.strings, all.models, {}, bytesOf));
    assert(std::ranges::equal(all.views, all.seen, {}, bytesOf));
    const bool equal = std::string(all.seen[0].c_str()) == all.seen[1].c_str();
    assert((all.views[0] == all.views[1]) == (equal && all.seen[0].size() == all.seen[1].size()));
    assert(wrongReads(s, o, word, c, at) == 0);
    for (const String& each : all.strings)
        assert(!repOf<StringRep>(each) || repOf<StringRep>(each)->refCount == all.holders(each));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput in(data, size);
    for (Strings strings; !in.empty();) edit(strings, in);
    return 0;
}
