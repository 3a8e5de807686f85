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
    assert((s == w) == (text == word));
    assert((s == null) == blank);
    assert((s <= w) == (some && text <= word));
    assert((s >= w) == (some && text >= word));
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
    rep.append(nullptr, 1);
    rep.resizeFor(from);
    assert(rep.capacity == StringRep::sizeFor(from) && bytes() == made.substr(0, rep.capacity - 1));
}

// The operands may be parts of the string that is edited, or of one that shares its text.
void edit(Strings& all, FuzzInput& in) {
    const unsigned editedAt = in.pick(4), otherAt = in.pick(4), sourceAt = in.pick(4);
    const unsigned viewAt = in.pick(2);
    String &edited = all.strings[editedAt], &other = all.strings[otherAt];
    String& source = all.strings[sourceAt];
    std::string &model = all.models[editedAt], &otherModel = all.models[otherAt];
    SubString& view = all.views[viewAt];
    std::string& seen = all.seen[viewAt];
    if (edited.size() > 200) {
        edited = String();
        model = "";
    }
    const unsigned offset = in.pick(source.size() + 1);
    const unsigned count = in.pick(source.size() - offset + 1);
    const unsigned at = in.pick(edited.size() + 4), length = in.flag() ? count : 0 - count;
    // Null gives nothing, whatever is asked for.
    const unsigned asked = source.textAt(0) ? count : at;
    const char *const start = source.textAt(0), *const part = source.textAt(offset);
    const std::string sourceModel = all.models[sourceAt];
    const std::string taken = sourceModel.substr(offset, count), word = &sourceModel[offset];
    const std::string old = otherModel, cut = old.c_str();
    // A copy of a shared text ends at its first zero byte.
    const bool shared = repOf(edited) && repOf(edited)->refCount > 1;
    const std::string own = shared ? model.c_str() : model;
    const char byte = count > 0 ? taken[0] : in.number<char>();
    const char otherByte = other.size() > count ? old[count] : '\0';
    std::string padded = own;
    padded.resize(std::max<std::size_t>(at, own.size()), ' ');
    const std::string written = std::string(padded).replace(at, 1, 1, otherByte);
    const std::size_t head = model.find_first_not_of(' ') + 1;  // 0 where there are only spaces.
    const std::size_t tail = model.find_last_not_of(' ') + 1;
    const std::size_t turn = own.empty() ? 0 : at % own.size();

    // Take an operation's result, which is not looked at before the end, and what it has to leave.
    const auto leaves = [&](const String&, std::string text) { model = std::move(text); };
    const auto shows = [&](const SubString&, std::string text) { seen = std::move(text); };
    const auto add = [&](auto number) {
        const std::string digits = std::to_string(number);
        assert(digits == bytesOf(String(number)));
        leaves(edited += number, own + digits);
    };
    const auto assign = [&] {
        const std::string text = in.text(12);
        leaves(edited = String(text.data(), static_cast<unsigned>(text.size())), text);
    };
    const auto moveOther = [&] {
        edited = std::move(other);
        model = std::exchange(otherModel, "");
    };
    const auto append = [&] {
        const bool given = other.textAt(0);
        const bool takesTheText = !repOf(edited) && given;
        leaves(edited += other, given ? own + old : model);
        assert(!takesTheText || repOf(edited) == repOf(other));
    };
    const auto substituteByte = [&] {
        if (own != model) return;
        edited.substitute(byte, otherByte);
        std::ranges::replace(model, byte, otherByte);
    };
    const auto read = [&] {
        const std::size_t stop = taken.find_first_of(" \t\n\v\f\r");
        std::istringstream stream(taken);
        const int end = edited.readFrom(stream);
        assert(stop < count ? end > 0 : end == -1);
        if (stop > 0 && count > 0) model = own + taken.substr(0, stop);
    };
    const auto substitute = [&] {
        const bool found = !old.empty() && cut.find(word) != std::string::npos;
        const std::string to = model.c_str();
        leaves(edited = other.substitute(part, edited),
               found ? substituted<std::string>(cut, word, to, false) : old);
    };
    const auto split = [&] {
        Vector<String> fields;
        const auto expected = fieldsOf(old, byte, at % 4, true);
        assert(other.split(byte, fields, at % 4) == expected.size());
        assert(std::ranges::equal(expected, fields, {}, {}, bytesOf));
        if (count < fields.size()) leaves(edited = fields[count], expected[count]);
    };
    const auto cutView = [&] {
        const bool within = at < other.size();
        shows(view = other(at, length), within ? old.substr(at, length) : "");
        assert(view.index() == (within ? at : 0));
    };
    in.choose(
        assign, [&] { leaves(edited = String(part, asked), taken); },
        [&] { leaves(edited = String(part), word); },
        [&] { leaves(edited = byte, std::string(1, byte)); },
        [&] { leaves(edited = String(byte, count), std::string(count, byte)); },
        [&] { leaves(edited = String(other, count), old.substr(0, count)); },
        [&] { leaves(edited = String(L"\xE9"), "\xC3\xA9"); }, [&] { leaves(edited = other, old); },
        moveOther, append, [&] { leaves(edited += part, part ? own + word : model); },
        [&] { leaves(edited += byte, own + byte); },
        [&] { leaves(edited = other + source, start ? cut + sourceModel : old); },
        [&] { leaves(edited = other + part, part ? cut + word : old); },
        [&] { leaves(edited = (part ? part : "") + other, word + old); },
        [&] { add(in.number<int>()); }, [&] { add(in.number<unsigned>()); },
        [&] { add(in.real()); },
        [&] { leaves(edited.insert(start, asked, offset, at), padded.insert(at, taken)); },
        [&] { leaves(edited.replace(start, asked, offset, at), padded.replace(at, count, taken)); },
        [&] { leaves(edited.replaceAll(part, asked), taken); },
        [&] { leaves(edited.remove(at, length), padded.erase(at, length).substr(0, own.size())); },
        substituteByte, [&] { leaves(edited.toUpper(), folded(own, 'a')); },
        [&] { leaves(edited.toLower(), folded(own)); },
        [&] { leaves(edited.rotateLeft(at), (own + own).substr(turn, own.size())); },
        [&] { leaves(edited.stripLeadingSpaces(), head > 1 ? own.substr(head - 1) : model); },
        [&] {
            const bool strips = tail > 0 && tail < model.size();
            leaves(edited.stripTrailingSpaces(), strips ? own.substr(0, tail) : model);
        },
        [&] {
            edited[at] = otherByte;
            model = written;
        },
        [&] {
            edited[at] = other[count];
            model = written;
        },
        read, substitute, split, [&] { shows(view = other, old); },
        [&] {
            view.purge();
            seen = "";
        },
        [&] { shows(view = all.views[1 - viewAt], all.seen[1 - viewAt]); },
        [&] { shows(view = SubString(other, at), at < other.size() ? old.substr(at) : ""); },
        cutView, [&] { leaves(edited = String(view), seen); },
        [&] { checkRep(taken, byte, at % (count + 1), offset % (count + 1)); });
    assert(std::ranges::equal(all.strings, all.models, {}, bytesOf));
    assert(std::ranges::equal(all.views, all.seen, {}, bytesOf));
    const bool equal = std::string(all.seen[0].c_str()) == all.seen[1].c_str();
    assert((all.views[0] == all.views[1]) == (equal && all.seen[0].size() == all.seen[1].size()));
    checkReads(edited, other, word, byte, at);
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
