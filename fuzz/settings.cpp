#include "Vorn/Settings.h"

#include "Vorn/Exception.h"
#include "fuzz/FuzzInput.h"
#include "tests/support/SettingsModel.h"

namespace {

using test::SettingsModel, Vorn::Case, Vorn::Settings;

struct Change {
    enum Kind { kSet, kErase, kEraseSection };

    // Whether it was done, to settings or to their model.
    template <class Target>
    bool operator()(Target& target) const {
        if (kind == kErase) return target.erase(section, key);
        if (kind == kEraseSection) return target.eraseSection(section);
        try {
            target.set(section, key, value);
            return true;
        } catch (const Vorn::Exception::RuntimeError&) {
            return false;
        }
    }

    Kind kind;
    std::string section, key, value;
};

// A section and a key of the file, or new ones.
Change chooseChange(FuzzInput& in, const SettingsModel& model) {
    Change change{Change::Kind(in.pick(4) % 3), in.text(3), in.text(3), in.text(5)};
    const auto sections = model.listed();
    if (sections.empty() || in.flag()) return change;
    const auto& [name, entries] = sections[in.pick(sections.size())];
    change.section = name;
    if (!entries.empty() && in.flag()) change.key = entries[in.pick(entries.size())].first;
    return change;
}

void checkContents(const Settings& settings, const SettingsModel& model) {
    const auto sections = model.listed();
    assert(test::listedBy(settings) == sections);
    for (const auto& [name, entries] : sections) {
        assert(settings.contains(name));
        for (const auto& [key, value] : entries)
            assert(settings.find(name, key) == model.find(name, key));
    }
}

// Whatever was done before, settings are what their text says.
void checkChange(Settings& settings, const Change& change, Case rule) {
    const std::string before = settings.text();
    SettingsModel model(before, rule);
    const auto former = model.find(change.section, change.key);
    assert(settings.find(change.section, change.key) == former);
    assert(settings.contains(change.section) || settings.entries(change.section).empty());
    Settings fresh(rule);
    fresh.parse(before);
    const bool changed = change(settings);
    const std::string after = settings.text();
    assert(change(fresh) == changed);
    assert(fresh.text() == after);
    if (!changed) {
        assert(after == before);
        return;
    }
    if (change.kind == Change::kSet && former && !change.value.empty()) {
        const Change back{Change::kSet, change.section, change.key, *former};
        assert(!back(fresh) || fresh.text() == before);
    }
    assert(change(model));
    assert(model.listed() == SettingsModel(after, rule).listed());
    checkContents(settings, model);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput in(data, size);
    const Case rule = in.flag() ? Case::exact : Case::ignored;
    const std::string text = in.text(200);
    Settings settings(rule);
    settings.parse(text);
    assert(settings.text() == text);
    checkContents(settings, SettingsModel(text, rule));
    while (!in.empty())
        checkChange(settings, chooseChange(in, SettingsModel(settings.text(), rule)), rule);
    return 0;
}
