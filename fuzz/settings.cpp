#include "Vorn/Settings.h"

#include "Vorn/Exception.h"
#include "fuzz/FuzzInput.h"
#include "tests/support/SettingsModel.h"

namespace {

using test::SettingsModel, Vorn::Case, Vorn::Settings;

// Does something to settings; whether it was done.
struct Change {
    enum Kind { kSet, kErase, kEraseSection };

    bool operator()(Settings& settings) const {
        if (kind == kErase) return settings.erase(section, key);
        if (kind == kEraseSection) return settings.eraseSection(section);
        try {
            settings.set(section, key, value);
            return true;
        } catch (const Vorn::Exception::RuntimeError&) {
            return false;
        }
    }
    bool operator()(SettingsModel& model) const {
        if (kind == kErase) return model.erase(section, key);
        if (kind == kEraseSection) return model.eraseSection(section);
        model.set(section, key, value);
        return true;
    }

    Kind kind;
    std::string section, key, value;
};

// A section and a key of the file, or new ones.
Change chooseChange(FuzzInput& in, const SettingsModel& model) {
    Change change{Change::Kind(in.pick(4) % 3), in.text(3), in.text(3), in.text(5)};
    if (model.sections.empty() || in.flag()) return change;
    const auto& [name, entries] = model.sections[in.pick(model.sections.size())];
    change.section = name;
    if (!entries.empty() && in.flag()) change.key = entries[in.pick(entries.size())].first;
    return change;
}

void checkLookups(const Settings& settings, const SettingsModel& model) {
    for (const auto& [name, entries] : model.sections) {
        assert(settings.contains(name) && settings.entries(name).size() == entries.size());
        for (const auto& [key, value] : entries) {
            const auto first = std::ranges::find_if(entries, model.named(key));
            assert(settings.find(name, key) == first->second);
        }
    }
}

// Whatever was done before, settings are what their text says.
void checkChange(Settings& settings, const Change& change, Case rule) {
    const std::string before = settings.text();
    SettingsModel model(settings, rule);
    Settings fresh(rule);
    fresh.parse(before);
    const bool changed = change(settings);
    assert(change(fresh) == changed && fresh.text() == settings.text());
    if (!changed) {
        assert(settings.text() == before);
        return;
    }
    assert(change(model));
    const SettingsModel after(settings, rule);
    assert(after.listed() == model.listed());
    assert(after.bySection() == after.inIniFile(settings.text()));
    checkLookups(settings, after);
    if (change.kind == Change::kSet)
        assert(test::linesChanged(before, settings.text()) <= 1);
    else
        assert(test::hasLines(before, settings.text()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput in(data, size);
    const Case rule = in.flag() ? Case::exact : Case::ignored;
    const std::string text = in.text(200);
    Settings settings(rule);
    settings.parse(text);
    assert(settings.text() == text && settings.size() == text.size());
    const SettingsModel read(settings, rule);
    assert(read.bySection() == read.inIniFile(text));
    checkLookups(settings, read);
    while (!in.empty())
        checkChange(settings, chooseChange(in, SettingsModel(settings, rule)), rule);
    return 0;
}
