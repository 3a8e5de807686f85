#include <algorithm>

#include "Vorn/StringManip.h"
#include "Vorn/VornIniFile.h"
#include "fuzz/FuzzInput.h"
#include "tests/support/IniModel.h"
#include "tests/support/TestPlatform.h"

namespace {

using test::folded;
using Entry = test::IniModel::Entry;
using Vorn::AttribValuePair;

String toString(const std::string& text) {
    return {text.data(), static_cast<unsigned>(text.size())};
}

void edit(FuzzInput& in, VornIniFile::Entries& entries, std::vector<Entry>& expected) {
    const std::string a = in.text(8), v = in.text(8), prefix = a.c_str();
    const String attrib = toString(a), value = toString(v), line = toString(a + v);
    const unsigned x = in.pick(entries.size() + 1), y = in.pick(entries.size() + 1);
    if (std::max<std::size_t>(x, y) == entries.size())
        entries.emplace_back(line, '='), expected.emplace_back(a + v);
    AttribValuePair& pair = entries[x];
    Entry& entry = expected[x];
    const bool cased = in.flag(), parts = pair.getState() != AttribValuePair::kLineOnly;
    assert(pair.valid() == (parts && !entry.attrib.empty() && !entry.value.empty()));
    assert(pair.asWString('=').size() == std::string(entry.line.c_str()).size());
    assert(pair == AttribValuePair(pair) && pair.getAttrib() == toString(entry.attrib));
    const auto begins = [&](const Entry& e) {
        const std::string begin = e.attrib.substr(0, prefix.size());
        return cased ? begin == prefix : folded(begin) == folded(prefix);
    };
    const auto found = std::ranges::find_if(expected, begins) - expected.begin();
    const auto find = [&](auto& list) {
        return VornIniFile::findBeginsWith(attrib, list, cased, list.end()) - list.begin();
    };
    assert(find(entries) == found && find(std::as_const(entries)) == found);
    const WString wide = L"\xE9";
    in.choose([&] { pair = entries[y], entry = expected[y]; },
              [&] { pair = AttribValuePair(attrib, value, ':'), entry = Entry(a, ':', v); },
              [&] { pair = AttribValuePair(wide, L"", ';'), entry = Entry("\xC3\xA9", ';', ""); },
              [&] { pair.setAttrib(attrib), entry = Entry(a, '=', entry.value); },
              [&] { pair.setValue(value), entry = Entry(entry.attrib, '=', v); },
              [&] { pair.setLine(line), entry = Entry(a + v); },
              [&] { entries.erase(entries.begin() + x), expected.erase(expected.begin() + x); });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput in(data, size);
    test::MemoryFiles files;
    const bool cased = in.flag();
    VornIniFile ini(cased);
    test::IniModel model{cased}, again{cased};
    while (!in.empty()) {
        auto chosen = model.sections.begin();
        std::advance(chosen, in.pick(model.sections.size() + 1));
        const std::string text = in.text(200), name = text.substr(0, 8);
        const std::string key = chosen != model.sections.end() ? chosen->first : model.keyOf(name);
        const char delimiter = "\n\n;"[in.pick(3)];
        assert(ini.sectionExists(toString(key)) == model.sections.contains(key));
        in.choose(
            [&] {
                files.put(L"in", text), ini.load(L"in", delimiter), model.load(text, delimiter);
            },
            [&] { ini.removeSection(toString(key)), model.sections.erase(key); },
            [&] { edit(in, ini[toString(key)], model.section(key).entries); });
    }
    const std::string saved = model.save();
    assert(ini.save(L"out") && files.get(L"out") == saved);
    auto walk = ini.getSectionIterator();
    for (auto s = model.sections.begin(); s != model.sections.end(); ++s, walk++)
        assert(&std::as_const(ini)[toString(s->first)] == &*walk &&
               walk.name() == toString(s->second.name));
    assert(!walk.valid() && ini.getNumSections() == model.sections.size());

    again.load(saved, '\n');
    ini = VornIniFile(L"out", true, cased);
    assert(ini.save(L"again") && files.get(L"again") == again.save());
    VornIniFile::Sections sections{VornIniFile_Private::StringLT_Fancy(cased)};
    VornIniFile_Private::SectionsBuildingOutputIterator builder(&sections);
    Vorn::StringManip::splitBuffer(builder, saved.data(), saved.size(), '\n');
    assert(sections.size() == ini.getNumSections());
    for (auto each = std::as_const(ini).getSectionIterator(); each.valid(); ++each)
        assert(*each == sections.at(each.name()));
    return 0;
}
