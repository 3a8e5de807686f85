#include <algorithm>

#include "Vorn/StringManip.h"
#include "Vorn/VornIniFile.h"
#include "fuzz/FuzzInput.h"
#include "tests/support/IniModel.h"
#include "tests/support/TestPlatform.h"

namespace {

using test::bytesOf, test::folded, test::IniModel;
using Entries = VornIniFile::Entries;
using Entry = IniModel::Entry;
using Vorn::AttribValuePair, Vorn::StringManip::splitBuffer;

void checkReads(const AttribValuePair& pair, const Entry& entry, char separator) {
    const std::string text = entry.text(separator);
    assert(pair.getState() == entry.state);
    assert(bytesOf(pair.getLine()) == entry.line);
    assert(bytesOf(pair.getAttrib()) == entry.attrib);
    assert(bytesOf(pair.getValue()) == entry.value);
    assert(pair.valid() == (entry.state != 1 && !entry.attrib.empty() && !entry.value.empty()));
    assert(bytesOf(pair.asString(separator)) == text);
    const auto* const bytes = reinterpret_cast<const unsigned char*>(text.c_str());
    assert(pair.asWString(separator) == WString(bytes, bytes + std::strlen(text.c_str())));
}

void checkEquality(const AttribValuePair& a, const AttribValuePair& b) {
    const bool parts = a.getAttrib() == b.getAttrib() && a.getValue() == b.getValue();
    const bool lines = a.getLine() == b.getLine();
    const int states = a.getState() | b.getState();
    const bool all = (lines || !(states & 1)) && (parts || !(states & 2));
    assert((a == b) == (states == 0 ? lines || parts : all));
}

void checkFind(const Entries& entries, const std::string& prefix, bool cased) {
    const auto seen = [&](const std::string& text) { return cased ? text : folded(text); };
    const auto begins = [&](const AttribValuePair& entry) {
        return seen(bytesOf(entry.getAttrib())).starts_with(seen(prefix.c_str()));
    };
    Entries copy(entries);  // Before the lines are split.
    const auto same = VornIniFile::findBeginsWith(String(prefix), copy, cased, copy.end());
    const auto found = std::ranges::find_if(entries, begins);
    assert(found - entries.begin() == same - copy.begin());
    assert(VornIniFile::findBeginsWith(String(prefix), entries, cased, entries.end()) == found);
}

void edit(FuzzInput& in, Entries& entries, std::vector<Entry>& expected) {
    const char separator = "=: "[in.pick(3)];
    const std::string given = in.text(16);
    entries.emplace_back(String(given), separator);
    expected.push_back(IniModel::entryOf(given, separator));
    const unsigned changed = in.pick(entries.size());
    AttribValuePair& pair = entries[changed];
    Entry& entry = expected[changed];
    const unsigned copied = in.pick(entries.size());
    const AttribValuePair other = entries[copied];
    Entry source = expected[copied];
    checkReads(pair, entry, separator);
    checkEquality(pair, other);
    checkFind(entries, given, in.flag());
    in.choose(
        [&] {
            pair = AttribValuePair(other.getLine(), other.getValue(), ':');
            entry = {source.line + ':' + source.value, source.line, source.value};
        },
        [&] {
            pair = AttribValuePair(WString(L"\xE9\0x", 3), L"", ';');
            entry = {"\xC3\xA9;", "\xC3\xA9", ""};
        },
        [&] {
            pair.setAttrib(other.getAttrib());
            entry.attrib = source.attrib;
            entry.state = 2;
        },
        [&] {
            pair.setValue(other.getValue());
            entry.value = source.value;
            entry.state = 2;
        },
        [&] {
            pair.setLine(other.getLine());
            entry = IniModel::entryOf(source.line, '=');
            entry.state = 1;
        },
        [&] {
            pair = other;
            if (source.state == 1) source = IniModel::entryOf(source.line, '=');
            if (source.state == 2) source.line = entry.line;
            entry = source;
        },
        [&] {
            entries.pop_back();
            expected.pop_back();
        },
        [] {});
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput in(data, size);
    test::MemoryFiles files;
    const bool cased = in.flag();
    VornIniFile ini(cased);
    IniModel model{cased};
    while (!in.empty()) {
        auto chosen = model.sections.begin();
        std::advance(chosen, in.pick(model.sections.size() + 1));
        const std::string text = in.flag() ? in.text(200) : model.save().substr(0, 200);
        const std::string given =
            chosen != model.sections.end() ? chosen->first : text.substr(0, 8);
        const std::string name = cased ? given : folded(given, 'a');
        const char delimiter = "\n\n;"[in.pick(3)];
        const VornIniFile& reader = ini;
        assert(reader.sectionExists(String(name)) == model.sections.contains(name));
        in.choose(
            [&] {
                files.put(L"in", text);
                model.load(text, delimiter);
                assert(ini.load(L"in", delimiter) == !text.empty());
            },
            [&] {
                assert(ini.removeSection(String(name)) == model.sections.erase(name));
                assert(&reader[String(name)] == &reader.getSection("none of these"));
            },
            [&] { edit(in, ini[String(name)], model.sections[name]); });
    }
    const std::string saved = model.save();
    assert(ini.save(L"out"));
    assert(files.get(L"out") == saved);
    auto walk = ini.getSectionIterator();
    for (const auto& [name, entries] : model.sections) {
        const auto here = walk++;
        assert(here.name() == String(name) && &*here == &std::as_const(ini)[here.name()]);
    }
    assert(ini.getSectionNameCaseSensitivity() == cased);
    assert(!walk.valid() && ini.getNumSections() == model.sections.size());

    const VornIniFile again(L"out", true, cased);
    VornIniFile::Sections sections{VornIniFile_Private::StringLT_Fancy(cased)};
    VornIniFile_Private::SectionsBuildingOutputIterator builder(&sections);
    const auto lines = static_cast<unsigned long>(std::ranges::count(saved, '\n'));
    assert(splitBuffer(builder, saved.data(), saved.size(), '\n') == lines);
    assert(sections.size() == again.getNumSections());
    for (auto each = again.getSectionIterator(); each.valid(); ++each)
        assert(*each == sections.at(each.name()));
    return 0;
}
