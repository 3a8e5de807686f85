#include "Vorn/Settings.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <concepts>
#include <cstddef>
#include <cstring>
#include <forward_list>
#include <initializer_list>
#include <limits>
#include <memory>
#include <new>
#include <system_error>
#ifndef __cpp_lib_to_chars
#include <xlocale.h>
#endif

#include "Vorn/Exception.h"
#include "Vorn/IniLinesPrivate.h"
#include "Vorn/Ptr.h"
#include "Vorn/StringManip.h"
#include "platform/OS.h"
#include "platform/iFile.h"
#include "platform/iFileServices.h"

namespace Vorn {

namespace {

using View = std::string_view;
using Index = std::uint32_t;

constexpr Index kNone = ~Index{0};
constexpr std::size_t kMostBytes = std::numeric_limits<Index>::max();
constexpr View kMark = "\xEF\xBB\xBF";

View withoutBlanks(View text) {
    const auto isBlank = [](char c) { return c == ' ' || !StringManip::Private::isPrintable(c); };
    while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
    return text;
}

// The spaces and tabs at the start of a text.
View indentOf(View text) {
    return text.substr(0, std::min(text.find_first_not_of(" \t"), text.size()));
}

// A setting's line, in parts. A value that is empty stands where one would be written.
struct Parts {
    explicit Parts(View whole) : line(whole) {
        const std::size_t end = line.find('=');
        key = withoutBlanks(line.substr(0, end));
        const View rest = line.substr(end + 1);
        value = withoutBlanks(rest);
        if (value.empty()) value = rest.substr(indentOf(rest).size(), 0);
    }
    View before() const { return {line.begin(), value.begin()}; }
    View after() const { return {value.end(), line.end()}; }

    View line, key, value;
};

// The key of a trimmed line; empty if the line is a comment. No "=" counts behind a zero byte.
View settingKey(View line) {
    const std::size_t end = line.find('=');
    if (end == line.npos || line.front() == ';' || line.front() == '#') return {};
    const View before = line.substr(0, end);
    const View key = withoutBlanks(before);
    const bool isComment = key.empty() || key.front() == ';' || key.front() == '#';
    return isComment || std::memchr(before.data(), 0, before.size()) ? View() : key;
}

// Whether a line would be another one if it came first, or no longer did: only there, control bytes
// at the start stay, and a byte order mark counts.
bool dependsOnBeingFirst(View lines) {
    const View line = lines.substr(0, lines.find('\n'));
    const bool isIndented = !line.empty() && !StringManip::Private::isPrintable(line.front());
    return line.starts_with(kMark) || (isIndented && !withoutBlanks(line).empty());
}

// Where what follows the last blank line begins.
std::size_t lastParagraph(View lines) {
    std::size_t start = lines.size();
    while (start > 0) {
        const std::size_t lineEnd = start - (lines[start - 1] == '\n');
        const std::size_t lineStart = lines.substr(0, lineEnd).rfind('\n') + 1;
        if (withoutBlanks(lines.substr(lineStart, lineEnd - lineStart)).empty()) break;
        start = lineStart;
    }
    return start;
}

bool equalNames(View a, View b, Case rule) {
    const auto same = [rule](char x, char y) {
        const bool cased = rule == Case::exact;
        return IniLines::folded(x, cased) == IniLines::folded(y, cased);
    };
    return a == b || (a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), same));
}

// Names count up to their first zero byte, and the section that has none goes by two names.
View sectionName(View name, Case rule) {
    const View counting = name.substr(0, name.find('\0'));
    return equalNames(counting, IniLines::kAnonymous, rule) ? View() : counting;
}

[[noreturn]] void refuse(const char* message, int line = __builtin_LINE()) {
    throw Exception::RuntimeError(message, "Vorn/Settings", line);
}

bool hasLineEnd(View text) {
    return text.find_first_of(View("\r\n\0", 3)) != text.npos;
}

void requireStorable(View section, View key, View value) {
    if (hasLineEnd(section)) refuse("The section's name has a line end or a zero byte in it");
    if (key.empty()) refuse("The key is empty");
    if (hasLineEnd(key)) refuse("The key has a line end or a zero byte in it");
    if (withoutBlanks(key) != key) refuse("The key begins or ends with a blank");
    if (key.find('=') != key.npos) refuse("The key has a \"=\" in it");
    if (View("[;#").find(key.front()) != View::npos)
        refuse("The key begins with \"[\", \";\" or \"#\"");
    if (key.starts_with(kMark)) refuse("The key begins with a byte order mark");
    if (hasLineEnd(value)) refuse("The value has a line end or a zero byte in it");
    if (withoutBlanks(value) != value) refuse("The value begins or ends with a blank");
}

// Hashes names without what the case rule ignores, eight bytes at a time. The secret differs from
// object to object, so that no file can be made whose names all collide.
class NameHash {
public:
    NameHash(Case rule, const void* somewhere) noexcept
        : caseBits(rule == Case::ignored ? kEach * 0x20 : 0),
          secret((reinterpret_cast<std::uintptr_t>(somewhere) * kOdd) | 1) {}

    Index operator()(View name, Index seed) const noexcept {
        std::uint64_t hash = secret ^ name.size() ^ std::uint64_t{seed} << 32;
        for (; name.size() > 8; name.remove_prefix(8)) hash = mixed(hash, word(name, 8));
        hash = mixed(hash, word(name, name.size()));
        return static_cast<Index>(hash >> 32);
    }

private:
    static std::uint64_t word(View text, std::size_t bytes) noexcept {
        const auto part = [text](std::size_t at, auto value) {
            std::memcpy(&value, text.data() + at, sizeof value);
            return std::uint64_t{value};
        };
        if (bytes == 8) return part(0, std::uint64_t{});
        if (bytes >= 4) return part(0, std::uint32_t{}) | part(bytes - 4, std::uint32_t{}) << 32;
        if (bytes >= 2) return part(0, std::uint16_t{}) | part(bytes - 2, std::uint16_t{}) << 16;
        return bytes > 0 ? part(0, std::uint8_t{}) : 0;
    }
    // The bit that tells A from a makes no difference then, nor does it to other bytes.
    std::uint64_t mixed(std::uint64_t hash, std::uint64_t bytes) const noexcept {
        hash = (hash ^ (bytes | caseBits)) * (secret ^ kOdd << 1);
        return (hash ^ hash >> 29) * kOdd;
    }

    static constexpr std::uint64_t kEach = 0x0101010101010101, kOdd = 0x9E3779B97F4A7C15;
    std::uint64_t caseBits, secret;
};

// Numbers by hash, in open addressing. What no longer counts stays, and equals nothing.
class Table {
public:
    // Makes room for `more` items.
    template <class HashOf>
    void reserve(std::size_t more, HashOf hashOf) {
        if ((taken + more) * 3 <= slots.size() * 2) return;
        std::vector<Index> former(std::bit_ceil((taken + more) * 3 / 2 + 1), kNone);
        slots.swap(former);
        taken = 0;
        for (const Index item : former)
            if (item != kNone) add(hashOf(item), item);
    }
    // The item that `equals` holds for, or `kNone`.
    template <class Equals>
    Index find(Index hash, Equals equals) const {
        return slots.empty() ? kNone : slots[place(hash, equals)];
    }
    // Adds an item, unless `equals` holds for one that is there.
    template <class Equals>
    void add(Index hash, Index item, Equals equals) {
        Index& slot = slots[place(hash, equals)];
        if (slot != kNone) return;
        slot = item;
        ++taken;
    }
    void add(Index hash, Index item) {
        add(hash, item, [](Index) { return false; });
    }

private:
    // Where it stands, or the empty slot where it would.
    template <class Equals>
    std::size_t place(Index hash, Equals equals) const {
        const std::size_t mask = slots.size() - 1;
        std::size_t at = hash & mask;
        while (slots[at] != kNone && !equals(slots[at])) at = (at + 1) & mask;
        return at;
    }

    std::vector<Index> slots;
    std::size_t taken = 0;
};

template <class T>
void makeRoom(std::vector<T>& list, std::size_t more) {
    if (list.capacity() - list.size() < more)
        list.reserve(std::max(2 * list.capacity(), list.size() + more));
}

// Texts that stay where they are.
struct Texts {
    View add(std::initializer_list<View> pieces) {
        std::size_t bytes = 0;
        for (const View piece : pieces) bytes += piece.size();
        std::string& text = list.emplace_front();
        text.reserve(bytes);
        for (const View piece : pieces) text += piece;
        size += bytes;
        return text;
    }
    void take(Texts& other) noexcept {
        size += other.size;
        list.splice_after(list.before_begin(), other.list);
    }

    std::forward_list<std::string> list;
    std::size_t size = 0;
};

}  // namespace

// The file as it was read, and the lines that were written since. Lines form a list in file order:
// each is a header, a setting, or a run of other lines; all but the last one end with LF. Line 0 is
// the byte order mark, empty where there is none, and stands for the header of section 0, the one
// without a name. What goes becomes an empty run.
class SettingsPrivate::Model {
public:
    Model(Case caseRule, std::unique_ptr<char[]> file, std::size_t size);
    static std::unique_ptr<Model> copyOf(const Settings& settings, Case rule);

    std::size_t size() const { return liveBytes; }
    // Whether most texts are of lines that went.
    bool isWasteful() const { return added.size / 2 > liveBytes + 4096; }
    // Hands the file on, in order and in as few pieces as it is in.
    template <class Take>
    void forEachPiece(Take take) const;

    Index sectionCount() const { return static_cast<Index>(sections.size()); }
    // Section 0 is there for users once it has a setting or a header.
    bool isListed(Index section) const;
    View nameOf(Index section) const;
    // `kNone` if there is none.
    Index findSection(View name) const;
    Index findLine(Index section, View key) const;
    Parts partsOf(Index line) const { return Parts(textOf(line)); }
    // Hands on the lines of a section's settings.
    template <class Take>
    void forEachSetting(Index section, Take take) const;

    // All memory is there before anything changes.
    void change(Index line, View value);
    void add(Index section, View key, View value);
    void addSection(View name, View key, View value);
    void erase(Index section, View key);
    void eraseSection(Index section);

private:
    enum Kind : Index { kOther, kSetting, kHeader };
    struct Line {
        const char* text = nullptr;
        Index size = 0;
        Index next = 0;  // 0 for the last one.
        // The hash of a setting's key. Of a header, the section's next header, or 0.
        Index link = 0;
        Index section : 30 = 0;  // Not of other lines.
        Index kind : 2 = kOther;
    };
    static_assert(offsetof(Line, size) == 8 && offsetof(Line, next) == 12 && sizeof(Line) == 24);
    struct Group {
        Index hash = 0;
        Index firstHeader = kNone, lastHeader = kNone;  // None once the section was removed.
        Index insertAfter = 0;                          // The last setting, or the first header.
    };
    static constexpr Index kMostSections = ~Index{0} >> 2;

    View textOf(Index line) const { return {lines[line].text, lines[line].size}; }
    Index hashOf(Index section, View key) const { return hash(key, section + 1); }
    bool isSetting(Index line, View key, Index keyHash) const;
    bool isOpen(Index line) const { return line != 0 && !textOf(line).ends_with('\n'); }
    // The lines that have text, but for line 0; 0 if there is none.
    Index firstLine() const;
    Index finalLine() const;
    Index nextHeader(Index header) const {
        return lines[header].link != 0 ? lines[header].link : kNone;
    }
    View lineEndNear(Index line) const;
    Index placeFor(Index section) const;
    View styleFor(Index section) const;

    void read(View text);
    void addKeys(std::size_t count);
    Index addGroup(View name);
    // Where there is room for them.
    Line& insert(Index after, View text);
    void insertHeader(Index after, View text, Index section);
    void insertSetting(Index after, View text, Index section, View key);
    void replace(Index line, View text);
    void remove(Index line);
    void removeBelow(Index header);
    View prepareRemoval(Texts& lineEnd);
    void keepReading(View formerFirst, Texts& lineEnd);

    std::vector<Line> lines;  // First, where debuggers read them.
    const Case rule;
    const NameHash hash;
    const std::unique_ptr<char[]> file;
    Texts added;
    std::size_t liveBytes = 0;
    Index lastLine = 0;
    std::vector<Group> sections;
    Table keys, names;
};

SettingsPrivate::Model::Model(Case caseRule, std::unique_ptr<char[]> bytes, std::size_t size)
    : rule(caseRule), hash(caseRule, bytes.get()), file(std::move(bytes)) {
    const View all(file.get(), size);
    const std::size_t markSize = all.starts_with(kMark) ? kMark.size() : 0;
    lines.reserve(size / 32 + 4);
    lines.push_back({all.data(), static_cast<Index>(markSize), 0, 0, 0, kHeader});
    liveBytes = markSize;
    sections.push_back({0, 0, 0, 0});
    read(all.substr(markSize));
}

std::unique_ptr<SettingsPrivate::Model> SettingsPrivate::Model::copyOf(const Settings& settings,
                                                                       Case rule) {
    auto bytes = std::make_unique_for_overwrite<char[]>(settings.size());
    settings.copyTo(bytes.get());
    return std::make_unique<Model>(rule, std::move(bytes), settings.size());
}

void SettingsPrivate::Model::read(View text) {
    const char* next = text.data();  // Where the first line that is not in the list begins.
    const char* const end = next + text.size();
    Index section = 0;
    std::size_t settings = 0;
    const auto cut = [&](const char* lineEnd) {
        makeRoom(lines, 1);
        return View(std::exchange(next, lineEnd), lineEnd);
    };
    // Other lines that follow one another are one run.
    const auto takeOther = [&](const char* lineEnd) {
        const View line = cut(lineEnd);
        Line& last = lines.back();
        if (last.kind != kOther) return static_cast<void>(insert(lastLine, line));
        last.size += static_cast<Index>(line.size());
        liveBytes += line.size();
    };
    const auto take = [&](const char* piece, unsigned long size) {
        const char* lineEnd = piece + size;
        while (lineEnd != end && *lineEnd++ != '\n') continue;
        const View line = IniLines::trimmed({piece, size});
        if (line.empty()) return takeOther(lineEnd);
        if (IniLines::isHeader(line)) {
            const View name = sectionName(IniLines::headerName(line), rule);
            section = findSection(name);
            if (section == kNone) section = addGroup(name);
            return insertHeader(lastLine, cut(lineEnd), section);
        }
        const View key = settingKey(line);
        if (key.empty()) return takeOther(lineEnd);
        insertSetting(lastLine, cut(lineEnd), section, key);
        ++settings;
    };
    StringManip::Private::forEachPiece(text.data(), text.size(), '\n', take);
    if (next != end) takeOther(end);
    addKeys(settings);
}

// All at once, so that their table is made once.
void SettingsPrivate::Model::addKeys(std::size_t count) {
    keys.reserve(count, [](Index) { return Index{0}; });
    for (Index i = 1; i < lines.size(); ++i) {
        const Line& line = lines[i];
        if (line.kind != kSetting) continue;
        const auto isSame = [&, key = View()](Index other) mutable {
            if (lines[other].link != line.link || lines[other].section != line.section)
                return false;
            if (key.empty()) key = partsOf(i).key;
            return isSetting(other, key, line.link);
        };
        keys.add(line.link, i, isSame);
    }
}

template <class Take>
void SettingsPrivate::Model::forEachPiece(Take take) const {
    View piece = textOf(0);
    for (Index i = lines[0].next; i != 0; i = lines[i].next) {
        const View line = textOf(i);
        if (line.empty()) continue;
        if (line.data() == piece.data() + piece.size()) {
            piece = {piece.data(), piece.size() + line.size()};
            continue;
        }
        if (!piece.empty()) take(piece);
        piece = line;
    }
    if (!piece.empty()) take(piece);
}

template <class Take>
void SettingsPrivate::Model::forEachSetting(Index section, Take take) const {
    for (Index h = sections[section].firstHeader; h != kNone; h = nextHeader(h))
        for (Index i = lines[h].next; i != 0 && lines[i].kind != kHeader; i = lines[i].next)
            if (lines[i].kind == kSetting) take(i);
}

bool SettingsPrivate::Model::isListed(Index section) const {
    const Group& group = sections[section];
    if (section != 0) return group.firstHeader != kNone;
    return group.insertAfter != 0 || group.lastHeader != 0;
}

View SettingsPrivate::Model::nameOf(Index section) const {
    if (section == 0) return {};
    const View header = withoutBlanks(textOf(sections[section].firstHeader));
    return sectionName(IniLines::headerName(header), rule);
}

Index SettingsPrivate::Model::findSection(View name) const {
    const View known = sectionName(name, rule);
    if (known.empty()) return 0;
    const Index nameHash = hash(known, 0);
    return names.find(nameHash, [&](Index i) {
        return sections[i].hash == nameHash && isListed(i) && equalNames(nameOf(i), known, rule);
    });
}

bool SettingsPrivate::Model::isSetting(Index line, View key, Index keyHash) const {
    return lines[line].link == keyHash && lines[line].kind == kSetting &&
           equalNames(partsOf(line).key, key, rule);
}

Index SettingsPrivate::Model::findLine(Index section, View key) const {
    const Index keyHash = hashOf(section, key);
    return keys.find(keyHash, [&](Index line) {
        return lines[line].section == section && isSetting(line, key, keyHash);
    });
}

Index SettingsPrivate::Model::firstLine() const {
    Index line = lines[0].next;
    while (line != 0 && lines[line].size == 0) line = lines[line].next;
    return line;
}

Index SettingsPrivate::Model::finalLine() const {
    if (lines[lastLine].size > 0) return lastLine;
    Index found = 0;
    for (Index i = lines[0].next; i != 0; i = lines[i].next)
        if (lines[i].size > 0) found = i;
    return found;
}

// The end of the line, or else of the first one.
View SettingsPrivate::Model::lineEndNear(Index line) const {
    View text = textOf(line);
    if (!text.ends_with('\n')) {
        text = textOf(firstLine());
        text = text.substr(0, text.find('\n') + 1);
    }
    return text.ends_with("\r\n") ? "\r\n" : "\n";
}

// The line that a new setting goes behind.
Index SettingsPrivate::Model::placeFor(Index section) const {
    Index place = sections[section].insertAfter;
    if (place != 0 || !dependsOnBeingFirst(textOf(firstLine()))) return place;
    for (Index i = lines[0].next; i != 0 && lines[i].kind == kOther; i = lines[i].next)
        if (lines[i].size > 0) place = i;
    return place;
}

// A setting that new ones of the section are to look like.
View SettingsPrivate::Model::styleFor(Index section) const {
    for (Index i = section + 1; i-- > 0;)
        if (lines[sections[i].insertAfter].kind == kSetting) return textOf(sections[i].insertAfter);
    return "=";
}

SettingsPrivate::Model::Line& SettingsPrivate::Model::insert(Index after, View text) {
    const auto index = static_cast<Index>(lines.size());
    lines.push_back(
        {text.data(), static_cast<Index>(text.size()), lines[after].next, 0, 0, kOther});
    lines[after].next = index;
    if (lastLine == after) lastLine = index;
    liveBytes += text.size();
    return lines.back();
}

void SettingsPrivate::Model::insertHeader(Index after, View text, Index section) {
    Line& line = insert(after, text);
    line.kind = kHeader;
    line.section = section & kMostSections;
    const auto index = static_cast<Index>(lines.size() - 1);
    Group& group = sections[section];
    if (group.firstHeader == kNone)
        group.firstHeader = group.insertAfter = index;
    else
        lines[group.lastHeader].link = index;
    group.lastHeader = index;
}

void SettingsPrivate::Model::insertSetting(Index after, View text, Index section, View key) {
    Line& line = insert(after, text);
    line.kind = kSetting;
    line.section = section & kMostSections;
    line.link = hashOf(section, key);
    sections[section].insertAfter = static_cast<Index>(lines.size() - 1);
}

Index SettingsPrivate::Model::addGroup(View name) {
    const Index section = sectionCount();
    if (section == kMostSections) throw std::bad_alloc();
    names.reserve(1, [this](Index i) { return sections[i].hash; });
    makeRoom(sections, 1);
    sections.push_back({hash(name, 0)});
    names.add(sections[section].hash, section);
    return section;
}

void SettingsPrivate::Model::replace(Index line, View text) {
    liveBytes += text.size() - lines[line].size;
    lines[line].text = text.data();
    lines[line].size = static_cast<Index>(text.size());
}

void SettingsPrivate::Model::remove(Index line) {
    replace(line, {});
    lines[line].kind = kOther;
}

void SettingsPrivate::Model::change(Index line, View value) {
    const Parts parts = partsOf(line);
    Texts texts;
    const View text = texts.add({parts.before(), value, parts.after()});
    added.take(texts);
    replace(line, text);
}

void SettingsPrivate::Model::add(Index section, View key, View value) {
    const Index after = placeFor(section);
    const View lineEnd = lineEndNear(after);
    const Parts style(styleFor(section));
    const View gap(style.key.end(), style.value.begin());
    Texts texts;
    const View text = texts.add({indentOf(style.line), key, gap, value, lineEnd});
    const View former = isOpen(after) ? texts.add({textOf(after), lineEnd}) : textOf(after);
    makeRoom(lines, 1);
    keys.reserve(1, [this](Index i) { return lines[i].link; });

    added.take(texts);
    replace(after, former);
    insertSetting(after, text, section, key);
    keys.add(lines.back().link, sections[section].insertAfter);
}

void SettingsPrivate::Model::addSection(View name, View key, View value) {
    const Index final = finalLine();
    const View last = textOf(final), lineEnd = lineEndNear(final);
    const Parts style(styleFor(sectionCount() - 1));
    const View gap(style.key.end(), style.value.begin());
    Texts texts;
    const View header = texts.add({"[", name, "]", lineEnd});
    const View text = texts.add({indentOf(style.line), key, gap, value, lineEnd});
    const View blank = texts.add({lineEnd});
    const View former = isOpen(final) ? texts.add({last, lineEnd}) : last;
    makeRoom(lines, 3);
    keys.reserve(1, [this](Index i) { return lines[i].link; });
    const Index section = addGroup(name);

    added.take(texts);
    replace(final, former);
    if (final != 0 && lastParagraph(former) < former.size()) insert(lastLine, blank);
    insertHeader(lastLine, header, section);
    insertSetting(lastLine, text, section, key);
    keys.add(lines[lastLine].link, lastLine);
}

void SettingsPrivate::Model::erase(Index section, View key) {
    const Index keyHash = hashOf(section, key);
    Texts lineEnd;
    const View former = prepareRemoval(lineEnd);
    Group& group = sections[section];
    group.insertAfter = group.firstHeader;
    forEachSetting(section, [&](Index line) {
        if (isSetting(line, key, keyHash))
            remove(line);
        else
            group.insertAfter = line;
    });
    keepReading(former, lineEnd);
}

void SettingsPrivate::Model::eraseSection(Index section) {
    Texts lineEnd;
    const View former = prepareRemoval(lineEnd);
    Group& group = sections[section];
    for (Index h = group.firstHeader; h != kNone; h = nextHeader(h))
        if (h != 0) remove(h);
    for (Index h = group.firstHeader; h != kNone; h = nextHeader(h)) removeBelow(h);
    if (section == 0) lines[0].link = 0;
    group = section == 0 ? Group{0, 0, 0, 0} : Group{group.hash};
    keepReading(former, lineEnd);
}

// All up to the next header, but for what stands right above that without an empty line between.
void SettingsPrivate::Model::removeBelow(Index header) {
    Index end = lines[header].next, keptFrom = 0;
    std::size_t keptAt = 0;
    for (; end != 0 && lines[end].kind != kHeader; end = lines[end].next) {
        const std::size_t start = lastParagraph(textOf(end));
        if (lines[end].kind == kSetting) {
            keptFrom = 0;
        } else if (keptFrom == 0 || start > 0) {
            keptFrom = end;
            keptAt = start;
        }
    }
    const Index firstKept = end != 0 && keptFrom != 0 ? keptFrom : end;
    for (Index i = lines[header].next; i != firstKept; i = lines[i].next) remove(i);
    if (firstKept != end) replace(firstKept, textOf(firstKept).substr(keptAt));
}

// Gets what `keepReading` needs, and tells it where the text began.
View SettingsPrivate::Model::prepareRemoval(Texts& lineEnd) {
    lineEnd.add({lineEndNear(firstLine())});
    makeRoom(lines, 1);
    return textOf(firstLine());
}

// An empty line keeps what has become the first line what it was.
void SettingsPrivate::Model::keepReading(View formerFirst, Texts& lineEnd) {
    const View first = textOf(firstLine());
    if (first.data() == formerFirst.data() || !dependsOnBeingFirst(first) || firstLine() == 0)
        return;
    const View blank = lineEnd.list.front();
    added.take(lineEnd);
    insert(0, blank);
}

namespace {

using SettingsPrivate::Model;

// Puts a model in place and gives the former one back.
std::unique_ptr<Model> exchange(Model*& place, std::unique_ptr<Model> fresh) noexcept {
    std::unique_ptr<Model> former(std::exchange(place, fresh.get()));
    static_cast<void>(fresh.release());
    return former;
}

}  // namespace

View Settings::Section::name() const noexcept {
    return model->nameOf(index);
}

std::vector<Settings::Entry> Settings::Section::entries() const {
    std::vector<Entry> all;
    model->forEachSetting(index, [&](Index line) {
        const Parts parts = model->partsOf(line);
        all.push_back({parts.key, parts.value});
    });
    return all;
}

Settings::Settings(const Settings& other) : rule(other.rule) {
    if (other.model) model = Model::copyOf(other, rule).release();
}

Settings::~Settings() {
    delete model;
}

bool Settings::load(const WString& path) {
    const Ptr<iFile> file = OS()->fileServices()->openFile(path, 0, 0, 1, 0);
    if (!file) return false;
    const std::uint64_t size = file->size();
    if (size == 0 || size > kMostBytes) return false;
    auto bytes = std::make_unique_for_overwrite<char[]>(size);
    const unsigned length = file->read(bytes.get(), static_cast<unsigned>(size));
    if (length == 0) return false;
    exchange(model, std::make_unique<Model>(rule, std::move(bytes), length));
    return true;
}

bool Settings::save(const WString& path) const {
    const auto forEachPiece = [this](auto take) {
        if (model) model->forEachPiece(take);
    };
    bool done = true;
    {
        const Ptr<iFile> file = OS()->fileServices()->openFile(path, 1, 3, 0, 0);
        if (!file) return false;
        forEachPiece([&](View piece) {
            const auto bytes = static_cast<unsigned>(piece.size());
            done = done && file->write(piece.data(), bytes) == bytes;
        });
    }
    const Ptr<iFile> file = OS()->fileServices()->openFile(path, 0, 0, 1, 0);
    if (!file || file->size() != size()) return false;
    forEachPiece([&](View piece) {
        std::array<char, 16384> read;
        while (done && !piece.empty()) {
            const auto bytes = static_cast<unsigned>(std::min(piece.size(), read.size()));
            done = file->read(read.data(), bytes) == bytes &&
                   std::memcmp(read.data(), piece.data(), bytes) == 0;
            piece.remove_prefix(bytes);
        }
    });
    return done;
}

void Settings::parse(Text text) {
    if (text.size() > kMostBytes) throw std::bad_alloc();
    auto bytes = std::make_unique_for_overwrite<char[]>(text.size());
    std::copy(text.begin(), text.end(), bytes.get());
    exchange(model, std::make_unique<Model>(rule, std::move(bytes), text.size()));
}

std::size_t Settings::size() const noexcept {
    return model ? model->size() : 0;
}

void Settings::copyTo(char* buffer) const noexcept {
    char* end = buffer;
    if (model) model->forEachPiece([&](View piece) { end += piece.copy(end, piece.size()); });
}

std::optional<View> Settings::find(Text section, Text key) const noexcept {
    const Index index = model ? model->findSection(section) : kNone;
    const Index line = index != kNone ? model->findLine(index, key) : kNone;
    if (line == kNone) return std::nullopt;
    return model->partsOf(line).value;
}

void Settings::put(Text section, Text key, Text value) {
    requireStorable(section, key, value);
    // What the texts may lie in stays until the end.
    std::unique_ptr<Model> former;
    if (!model || model->isWasteful()) former = exchange(model, Model::copyOf(*this, rule));
    if (size() + section.size() + key.size() + value.size() > kMostBytes) throw std::bad_alloc();
    const Index index = model->findSection(section);
    if (index == kNone) return model->addSection(section, key, value);
    const Index line = model->findLine(index, key);
    if (line == kNone) return model->add(index, key, value);
    model->change(line, value);
}

bool Settings::erase(Text section, Text key) {
    const Index index = model ? model->findSection(section) : kNone;
    if (index == kNone || model->findLine(index, key) == kNone) return false;
    model->erase(index, key);
    return true;
}

bool Settings::eraseSection(Text section) {
    if (!contains(section)) return false;
    model->eraseSection(model->findSection(section));
    return true;
}

std::vector<Settings::Section> Settings::sections() const {
    std::vector<Section> all;
    for (Index i = 0; model && i < model->sectionCount(); ++i)
        if (model->isListed(i)) all.push_back(Section(model, i));
    return all;
}

bool Settings::contains(Text section) const noexcept {
    const Index index = model ? model->findSection(section) : kNone;
    return index != kNone && model->isListed(index);
}

std::vector<Settings::Entry> Settings::entries(Text section) const {
    return contains(section) ? Section(model, model->findSection(section)).entries()
                             : std::vector<Entry>();
}

namespace SettingsPrivate {

namespace {

using std::from_chars;

#ifndef __cpp_lib_to_chars
// libc++ has long had none for these. Where it is at home, a null locale is that of C.
template <std::floating_point T>
std::from_chars_result from_chars(const char* first, const char* last, T& value) noexcept {
    constexpr View kStarts = "-.0123456789iInN";
    const View text(first, last);
    char copy[1024] = "";
    if (text.empty() || text.size() >= sizeof copy || kStarts.find(text.front()) == View::npos ||
        text.find_first_of("xX") != View::npos)
        return {first, std::errc::invalid_argument};
    text.copy(copy, text.size());
    char* end = nullptr;
    errno = 0;
    if constexpr (std::is_same_v<T, float>)
        value = ::strtof_l(copy, &end, nullptr);
    else
        value = ::strtod_l(copy, &end, nullptr);
    const bool lost = errno == ERANGE && (value == 0 || std::isinf(value));
    return {first + (end - copy), lost ? std::errc::result_out_of_range : std::errc()};
}
#endif

template <class T>
bool readNumber(View text, T& value) noexcept {
    if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
    const auto [end, error] = from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size();
}

template <class T>
std::size_t writeNumber(char* text, std::size_t room, T value) noexcept {
    return static_cast<std::size_t>(std::to_chars(text, text + room, value).ptr - text);
}

}  // namespace

bool read(View text, bool& value) noexcept {
    struct Word {
        View text;
        bool value;
    };
    static constexpr Word kWords[] = {{"true", true}, {"false", false}, {"yes", true},
                                      {"no", false},  {"on", true},     {"off", false},
                                      {"1", true},    {"0", false}};
    for (const Word& word : kWords) {
        if (!equalNames(word.text, text, Case::ignored)) continue;
        value = word.value;
        return true;
    }
    return false;
}

bool read(View text, std::int64_t& value) noexcept {
    return readNumber(text, value);
}
bool read(View text, std::uint64_t& value) noexcept {
    return readNumber(text, value);
}
bool read(View text, float& value) noexcept {
    return readNumber(text, value);
}
bool read(View text, double& value) noexcept {
    return readNumber(text, value);
}

Digits::Digits(std::int64_t value) noexcept : size(writeNumber(text, sizeof text, value)) {}
Digits::Digits(std::uint64_t value) noexcept : size(writeNumber(text, sizeof text, value)) {}
Digits::Digits(float value) noexcept : size(writeNumber(text, sizeof text, value)) {}
Digits::Digits(double value) noexcept : size(writeNumber(text, sizeof text, value)) {}

View nextElement(View& list) noexcept {
    const std::size_t end = list.find(',');
    const View element = withoutBlanks(list.substr(0, end));
    list = end != list.npos ? list.substr(end + 1) : View();
    return element;
}

void requireElement(View element) {
    if (element.find(',') != element.npos) refuse("An element of the list has a comma in it");
    if (withoutBlanks(element) != element)
        refuse("An element of the list begins or ends with a blank");
}

void requireUnambiguous(View list, std::size_t elements) {
    if (list.empty() && elements > 0) refuse("A list of one empty text reads as an empty list");
}

void requireSame(const WString& text, const WString& read) {
    if (text != read) refuse("The text has characters that cannot be written");
}

}  // namespace SettingsPrivate

}  // namespace Vorn
