// Test support: what settings a text has and how they change, told once more.
#pragma once

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Vorn/Settings.h"
#include "tests/support/IniModel.h"

namespace test {

/// Sections with their settings, both in the file's order; the section without a name is the first.
class SettingsModel {
public:
    using Entry = std::pair<std::string, std::string>;  // A key and its value.
    struct Section {
        bool operator==(const Section&) const = default;

        std::string name;
        std::vector<Entry> entries;
    };

    /// What a text has; a byte order mark belongs to no line.
    SettingsModel(const std::string& text, Vorn::Case caseRule) : rule(caseRule) {
        const std::string blanks = controls() + ' ';
        const bool isMarked = text.starts_with("\xEF\xBB\xBF");
        std::string name;
        for (const std::string& line : iniLines(text.substr(isMarked ? 3 : 0), '\n')) {
            if (isHeader(line)) {
                name = headerName(line);
                section(name);
                continue;
            }
            const IniModel::Entry entry = IniModel::entryOf(line, '=');
            const std::string key = trimmed(entry.attrib, blanks);
            if (!key.empty() && key[0] != ';' && key[0] != '#')
                section(name).entries.push_back({key, trimmed(entry.value, blanks)});
        }
    }

    /// All but the section without a name where it has no settings.
    std::vector<Section> listed() const {
        auto all = sections;
        std::erase(all, Section());
        return all;
    }

    std::optional<std::string> find(const std::string& name, const std::string& key) const {
        const auto place = std::ranges::find_if(sections, withName(name));
        if (place == sections.end()) return std::nullopt;
        const auto found = std::ranges::find_if(place->entries, withKey(key));
        return found != place->entries.end() ? std::optional(found->second) : std::nullopt;
    }
    void set(const std::string& name, const std::string& key, const std::string& value) {
        auto& entries = section(name).entries;
        const auto found = std::ranges::find_if(entries, withKey(key));
        if (found != entries.end())
            found->second = value;
        else
            entries.emplace_back(key, value);
    }
    bool erase(const std::string& name, const std::string& key) {
        if (std::ranges::none_of(sections, withName(name))) return false;
        return std::erase_if(section(name).entries, withKey(key)) > 0;
    }
    bool eraseSection(const std::string& name) {
        return std::erase_if(sections, withName(name)) > 0;
    }

private:
    std::string seen(const std::string& name) const {
        return rule == Vorn::Case::exact ? name : folded(name);
    }
    /// Names of sections count up to their first zero byte; the one without a name has two.
    std::string nameOf(const std::string& given) const {
        const std::string name = given.c_str();
        return seen(name) == seen(IniModel::kAnonymous) ? "" : name;
    }
    std::function<bool(const Entry&)> withKey(const std::string& key) const {
        return [this, key](const Entry& each) { return seen(each.first) == seen(key); };
    }
    std::function<bool(const Section&)> withName(const std::string& name) const {
        return [this, wanted = seen(nameOf(name))](const Section& each) {
            return seen(each.name) == wanted;
        };
    }
    Section& section(const std::string& name) {
        const auto found = std::ranges::find_if(sections, withName(name));
        if (found != sections.end()) return *found;
        const auto place = nameOf(name).empty() ? sections.begin() : sections.end();
        return *sections.insert(place, {nameOf(name), {}});
    }

    Vorn::Case rule;
    std::vector<Section> sections;
};

/// The same of settings.
inline std::vector<SettingsModel::Section> listedBy(const Vorn::Settings& settings) {
    std::vector<SettingsModel::Section> all;
    for (const auto& section : settings.sections()) {
        all.push_back({std::string(section.name()), {}});
        for (const auto& [key, value] : settings.entries(section.name()))
            all.back().entries.emplace_back(key, value);
    }
    std::erase(all, SettingsModel::Section());
    return all;
}

}  // namespace test
