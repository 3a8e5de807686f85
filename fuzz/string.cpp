#include <bit>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <utility>

#include "Vorn/StringRep.h"
#include "Vorn/SubString.h"
#include "Vorn/Vector.h"
#include "fuzz/FuzzInput.h"
#include "tests/support/TextModels.h"

namespace {

using test::bytesOf, test::fieldsOf, test::folded, test::substituted;

constexpr unsigned kNone = 0xFFFFFFFF;

const StringRep* repOf(const String& s) {
    return *reinterpret_cast<StringRep* const*>(&s);
}

// What most operations see of a text: what is before its first zero byte.
std::string cutOf(const std::string& text) {
    return text.c_str();
}

void checkComparisons(const String& a, const String& b) {
    const std::string text = cutOf(bytesOf(a)), other = cutOf(bytesOf(b));
    const bool given = a.textAt(0), otherGiven = b.textAt(0), both = given && otherGiven;
    const bool blank = a.isEmpty(), otherBlank = b.isEmpty();
    assert(blank == (bytesOf(a).find_first_not_of(' ') == std::string::npos));
    assert((a == b) == (blank || otherBlank ? blank == otherBlank : text == other));
    assert((a.compare(b) <=> 0) == ((both ? text.compare(other) : given - otherGiven) <=> 0));
    assert((a < b) == (both && text < other));
    assert((a > b) == (both && text > other));
    assert((a <= b) == (both ? text <= other : given == otherGiven));
    assert((a >= b) == (both ? text >= other : given == otherGiven));
}

void checkComparisonsWith(const std::string& word, const String& s) {
    const std::string all = bytesOf(s), text = cutOf(all);
    const char *const plain = word.c_str(), *const null = nullptr;
    assert((s == null) == s.isEmpty());
    assert(!s.startsWith(null, true));
    assert(!s.endsWith(null, true));
    assert((s == plain) == (text == word));
    assert((s <= plain) == (s.textAt(0) && text <= word));
    assert((s >= plain) == (s.textAt(0) && text >= word));
    assert(s.compareCaseInsensitive(plain) == (word != "" && folded(word) == folded(text)));
    assert(s.startsWith(plain, true) == all.starts_with(word));
    assert(s.startsWith(plain, false) == folded(all).starts_with(folded(word)));
    assert(s.endsWith(plain, true) == all.ends_with(word));
    assert(s.endsWith(plain, false) == folded(all).ends_with(folded(word)));
}

void checkSearches(const String& s, const std::string& word, char c, unsigned from) {
    const std::string all = bytesOf(s), text = cutOf(all);
    const bool within = from < all.size();
    const std::size_t found = within ? std::string(&all[from]).find(word) : std::string::npos;
    assert(s.index(word.c_str(), from) == (found == std::string::npos ? kNone : from + found));
    const std::size_t last = c == '\0' ? text.size() : text.rfind(c);
    assert(s.rindex(c) == (s.textAt(0) ? static_cast<unsigned>(last) : kNone));
    assert(s[from] == (within ? all[from] : '\0'));
    assert(static_cast<const char*>(s)[s.size()] == '\0');
    assert(std::bit_cast<long>(s.asDouble()) == std::bit_cast<long>(std::atof(text.c_str())));
}

// The position of the n-th `c`, counted from 1; the start for 0.
unsigned nthIndexIn(const std::string& text, unsigned n, char c) {
    std::size_t found = 0;
    for (unsigned i = 0; i < n && found != std::string::npos; ++i)
        found = text.find(c, i > 0 ? found + 1 : 0);
    return static_cast<unsigned>(found);
}

void checkFields(const String& s, unsigned n, char delim) {
    const std::string all = bytesOf(s), text = cutOf(all);
    const unsigned first = s.textAt(0) ? nthIndexIn(text, n, delim) : kNone;
    const unsigned next = s.textAt(0) ? nthIndexIn(text, n + 1, delim) : kNone;
    const unsigned last = first != kNone ? std::min(next, s.size()) : kNone;
    unsigned start = kNone, end = kNone;
    assert(s.nthIndex(n, delim) == first);
    assert(s.tokSpan(delim, n, start, end) == (first != kNone));
    assert(start == (first < last && all[first] == delim ? first + 1 : first));
    assert(end == last);
}

// What `String` leaves to those who hold a representation themselves.
void checkRep(const std::string& text, char c, unsigned from, unsigned to) {
    assert(StringRep(nullptr, to).length == 0);
    StringRep rep(text.data(), static_cast<unsigned>(text.size()));
    const auto bytes = [&] { return std::string(rep.buffer, rep.length); };
    rep.refCount = 2;
    const std::unique_ptr<StringRep> copy(rep.unshare());
    assert(rep.refCount == 1);
    assert(copy->refCount == 1);
    assert(bytes() == text);
    assert(std::string(copy->buffer, copy->capacity) == cutOf(text) + '\0');
    *copy = c;
    copy->buffer = copy->realloc(copy->buffer, copy->capacity);
    assert(std::string(copy->buffer, 2) == std::string(1, c) + '\0');
    // Searching ends at the zero byte; what stands behind it moves along.
    const std::string cut = cutOf(text);
    const std::string made =
        substituted<std::string>(cut, &text[from], &text[to], false) + text.substr(cut.size());
    rep.substitute(rep.buffer + from, rep.buffer + to);
    assert(bytes() == made);
    const unsigned room = StringRep::sizeFor(rep.length);
    assert(rep.capacity == (made.size() > text.size() ? room : text.size() + 1));
    rep.append(nullptr, 1);
    rep.resizeFor(from);
    assert(rep.capacity == StringRep::sizeFor(from));
    assert(bytes() == made.substr(0, rep.capacity - 1));
}

struct Strings {
    String strings[4];
    std::string models[4];
    SubString views[2] = {SubString(String()), SubString(String())};
    std::string seen[2];
};

// One operation on a string or a view, and on its model. The operands may be parts of the string
// that is edited, or of one that shares its text.
struct Step {
    void run() {
        in.choose([&] { assign(); }, [&] { join(); }, [&] { edit(); }, [&] { map(); },
                  [&] { useView(); },
                  [&] { checkRep(taken, byte, at % (count + 1), offset % (count + 1)); });
        assert(std::ranges::equal(all.strings, all.models, {}, bytesOf));
        assert(std::ranges::equal(all.views, all.seen, {}, bytesOf));
        const bool equalSeen =
            cutOf(all.seen[0]) == cutOf(all.seen[1]) && all.seen[0].size() == all.seen[1].size();
        assert((all.views[0] == all.views[1]) == equalSeen);
        checkComparisons(edited, other);
        checkComparisonsWith(word, edited);
        checkSearches(edited, word, byte, at);
        checkFields(edited, at, byte);
        if (edited.size() > 200) leaves(edited = String(), "");
    }

    // Take an operation's result, which is not looked at before the end, and what it has to leave.
    void leaves(const String&, std::string text) { model = std::move(text); }
    void shows(const SubString&, std::string text) { seen = std::move(text); }

    void assign() {
        in.choose([&] { assignNewText(); }, [&] { leaves(edited = String(part, asked), taken); },
                  [&] { leaves(edited = String(part), word); },
                  [&] { leaves(edited = byte, std::string(1, byte)); },
                  [&] { leaves(edited = String(byte, count), std::string(count, byte)); },
                  [&] { leaves(edited = String(other, count), old.substr(0, count)); },
                  [&] { leaves(edited = String(view), seen); },
                  [&] { leaves(edited = other, old); }, [&] { assignMoved(); });
    }
    void assignNewText() {
        const std::string text = in.text(12);
        leaves(edited = String(text.data(), static_cast<unsigned>(text.size())), text);
    }
    void assignMoved() {
        edited = std::move(other);
        model = std::exchange(otherModel, "");
    }

    void join() {
        in.choose([&] { append(); }, [&] { leaves(edited += part, part ? own + word : model); },
                  [&] { leaves(edited += byte, own + byte); },
                  [&] { leaves(edited = other + source, start ? cut + sourceModel : old); },
                  [&] { leaves(edited = other + part, part ? cut + word : old); },
                  [&] { leaves(edited = (part ? part : "") + other, word + old); },
                  [&] { appendNumber(in.number<int>()); },
                  [&] { appendNumber(in.number<unsigned>()); }, [&] { appendNumber(in.real()); },
                  [&] { readWord(); });
    }
    void append() {
        const bool given = other.textAt(0), sharesTheText = !repOf(edited) && given;
        leaves(edited += other, given ? own + old : model);
        assert(!sharesTheText || repOf(edited) == repOf(other));
    }
    void appendNumber(auto number) {
        const std::string digits = std::to_string(number);
        assert(digits == bytesOf(String(number)));
        leaves(edited += number, own + digits);
    }
    void readWord() {
        const std::size_t stop = taken.find_first_of(" \t\n\v\f\r");
        std::istringstream stream(taken);
        const int end = edited.readFrom(stream);
        assert(stop < count ? end > 0 : end == -1);
        if (stop > 0 && count > 0) model = own + taken.substr(0, stop);
    }

    void edit() {
        std::string padded = own;
        padded.resize(std::max<std::size_t>(at, own.size()), ' ');
        in.choose(
            [&] { leaves(edited.insert(start, asked, offset, at), padded.insert(at, taken)); },
            [&] {
                leaves(edited.replace(start, asked, offset, at), padded.replace(at, count, taken));
            },
            [&] { leaves(edited.replaceAll(part, asked), taken); },
            [&] {
                leaves(edited.remove(at, length), padded.erase(at, length).substr(0, own.size()));
            },
            [&] {
                edited[at] = otherByte;
                model = padded.replace(at, 1, 1, otherByte);
            });
    }

    void map() {
        in.choose([&] { leaves(edited.toUpper(), folded(own, 'a')); },
                  [&] { leaves(edited.toLower(), folded(own)); }, [&] { strip(); },
                  [&] { rotate(); }, [&] { substituteByte(); }, [&] { substituteWord(); },
                  [&] { takeField(); });
    }
    // A blank text stays, and so does one without spaces there, whatever is behind its zero byte.
    void strip() {
        const std::size_t head = model.find_first_not_of(' ');
        const std::size_t end = model.find_last_not_of(' ') + 1;
        if (in.flag())
            leaves(edited.stripLeadingSpaces(), head > 0 && end > 0 ? own.substr(head) : model);
        else
            leaves(edited.stripTrailingSpaces(),
                   end > 0 && end < model.size() ? own.substr(0, end) : model);
    }
    void rotate() {
        const std::size_t turn = own.empty() ? 0 : at % own.size();
        leaves(edited.rotateLeft(at), own.substr(turn) + own.substr(0, turn));
    }
    void substituteByte() {
        if (own != model) return;
        edited.substitute(byte, otherByte);
        std::ranges::replace(model, byte, otherByte);
    }
    void substituteWord() {
        const bool found = !old.empty() && cut.find(word) != std::string::npos;
        const std::string to = cutOf(model);
        leaves(edited = other.substitute(part, edited),
               found ? substituted<std::string>(cut, word, to, false) : old);
    }
    void takeField() {
        Vector<String> fields;
        const auto expected = fieldsOf(old, byte, at % 4, true);
        assert(other.split(byte, fields, at % 4) == expected.size());
        assert(std::ranges::equal(expected, fields, {}, {}, bytesOf));
        if (count < fields.size()) leaves(edited = fields[count], expected[count]);
    }

    void useView() {
        const bool within = at < other.size();
        in.choose([&] { shows(view = other, old); },
                  [&] { shows(view = all.views[1 - viewAt], all.seen[1 - viewAt]); },
                  [&] { shows(view = SubString(other, at), within ? old.substr(at) : ""); },
                  [&] {
                      shows(view = other(at, length), within ? old.substr(at, length) : "");
                      assert(view.index() == (within ? at : 0));
                  });
    }

    Strings& all;
    FuzzInput& in;
    const unsigned editedAt = in.pick(4), otherAt = in.pick(4), sourceAt = in.pick(4);
    const unsigned viewAt = in.pick(2);
    String &edited = all.strings[editedAt], &other = all.strings[otherAt];
    const String& source = all.strings[sourceAt];
    SubString& view = all.views[viewAt];
    std::string &model = all.models[editedAt], &otherModel = all.models[otherAt];
    std::string& seen = all.seen[viewAt];

    const unsigned offset = in.pick(source.size() + 1);
    const unsigned count = in.pick(source.size() - offset + 1);
    const unsigned at = in.pick(edited.size() + 4), length = in.flag() ? count : 0 - count;
    const char *const start = source.textAt(0), *const part = source.textAt(offset);
    const unsigned asked = start ? count : at;  // Null gives nothing, whatever is asked for.
    const std::string sourceModel = all.models[sourceAt];
    const std::string taken = sourceModel.substr(offset, count), word = &sourceModel[offset];
    const std::string old = otherModel, cut = cutOf(old);
    // A copy of a shared text ends at its first zero byte.
    const bool shared = repOf(edited) && repOf(edited)->refCount > 1;
    const std::string own = shared ? cutOf(model) : model;
    const char byte = count > 0 ? taken[0] : in.number<char>();
    const char otherByte = other.size() > count ? old[count] : '\0';
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput in(data, size);
    Strings all;
    while (!in.empty()) Step{all, in}.run();
    for (SubString& view : all.views) view.purge();
    for (const String& s : all.strings)
        assert(!repOf(s) || repOf(s)->refCount == std::ranges::count(all.strings, repOf(s), repOf));
    return 0;
}
