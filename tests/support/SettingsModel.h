// Test support: the settings that a file has, told once more.
#pragma once

#include <algorithm>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "Vorn/Settings.h"
#include "Vorn/VornIniFile.h"
#include "tests/support/TestPlatform.h"
#include "tests/support/TextModels.h"

namespace test {

constexpr char kMark[] = "\xEF\xBB\xBF";

inline std::string withoutBlanks(std::string text) {
    std::string blanks = " \x7F";
    for (char c = 0; c < ' '; ++c) blanks += c;
    text.erase(text.find_last_not_of(blanks) + 1);
    return text.erase(0, text.find_first_not_of(blanks));
}

/// The sections of a file with their settings, both in the file's order.
struct SettingsModel {
    using Entries = std::vector<std::pair<std::string, std::string>>;

    SettingsModel(const Vorn::Settings& settings, Vorn::Case caseRule) : rule(caseRule) {
        for (const auto& section : settings.sections()) {
            Entries& entries = sections.emplace_back(section.name(), Entries()).second;
            for (const auto& [key, value] : section.entries()) entries.emplace_back(key, value);
        }
    }

    std::string seen(const std::string& name) const {
        return rule == Vorn::Case::exact ? name : folded(name);
    }
    auto named(const std::string& name) const {
        return [this, name](const auto& each) { return seen(each.first) == seen(name); };
    }
    /// Names of sections count up to their first zero byte; the one without a name has two.
    std::string sectionNamed(const std::string& name) const {
        const std::string counting = seen(name.c_str());
        return counting == seen(bytesOf(VornIniFile::kAnonymousSection())) ? "" : counting;
    }
    auto isSection(const std::string& name) const {
        return [this, name](const auto& each) {
            return sectionNamed(each.first) == sectionNamed(name);
        };
    }
    Entries& section(const std::string& name) {
        const auto found = std::ranges::find_if(sections, isSection(name));
        if (found != sections.end()) return found->second;
        const auto place = sectionNamed(name).empty() ? sections.begin() : sections.end();
        return sections.emplace(place, sectionNamed(name).empty() ? "" : name, Entries())->second;
    }
    void set(const std::string& name, const std::string& key, const std::string& value) {
        Entries& entries = section(name);
        const auto found = std::ranges::find_if(entries, named(key));
        if (found == entries.end())
            entries.emplace_back(key, value);
        else
            found->second = value;
    }
    bool erase(const std::string& name, const std::string& key) {
        if (std::ranges::none_of(sections, isSection(name))) return false;
        return std::erase_if(section(name), named(key)) > 0;
    }
    bool eraseSection(const std::string& name) {
        return std::erase_if(sections, isSection(name)) > 0;
    }

    /// All but the section without a name where it has no settings.
    auto listed() const {
        auto listed = sections;
        std::erase(listed, std::pair(std::string(), Entries()));
        return listed;
    }
    /// By section, without those that have none. Only in the one without a name, which stands for
    /// two of an INI file, the order does not count.
    using BySection = std::map<std::string, Entries>;
    BySection bySection() const {
        BySection all;
        for (const auto& [name, entries] : sections)
            if (!entries.empty()) all[sectionNamed(name)] = entries;
        if (all.contains("")) std::ranges::sort(all[""]);
        return all;
    }
    /// What `VornIniFile` finds in the same text, but for comments.
    BySection inIniFile(const std::string& text) const {
        MemoryFiles files;
        files.put(L"in", text.starts_with(kMark) ? text.substr(3) : text);
        const VornIniFile ini(L"in", true, rule == Vorn::Case::exact);
        BySection all;
        for (auto walk = ini.getSectionIterator(); walk.valid(); ++walk) {
            const std::string name = sectionNamed(bytesOf(walk.name()));
            for (const Vorn::AttribValuePair& entry : *walk) {
                const std::string key = withoutBlanks(bytesOf(entry.getAttrib()));
                if (!key.empty() && key[0] != ';' && key[0] != '#')
                    all[name].emplace_back(key, withoutBlanks(bytesOf(entry.getValue())));
            }
        }
        if (all.contains("")) std::ranges::sort(all[""]);
        return all;
    }

    Vorn::Case rule;
    std::vector<std::pair<std::string, Entries>> sections;
};

/// The lines of a text, without their ends and without a byte order mark.
inline std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text.starts_with(kMark) ? text.substr(3) : text);
    for (std::string line; std::getline(in, line); lines.push_back(line))
        if (line.ends_with('\r')) line.pop_back();
    return lines;
}

/// How many lines of a text lie between those that another one begins and ends with.
inline long linesChanged(const std::string& text, const std::string& other) {
    const std::vector<std::string> lines = linesOf(text), others = linesOf(other);
    const auto [from, otherFrom] = std::ranges::mismatch(lines, others);
    const auto [end, otherEnd] = std::mismatch(lines.rbegin(), std::reverse_iterator(from),
                                               others.rbegin(), std::reverse_iterator(otherFrom));
    return end.base() - from;
}

/// Whether all lines of `part` are lines of a text, in that order; an empty one may come first.
inline bool hasLines(const std::string& text, const std::string& part) {
    std::vector<std::string> lines = linesOf(text);
    lines.insert(lines.begin(), "");
    auto next = lines.begin();
    for (const std::string& line : linesOf(part)) {
        next = std::find(next, lines.end(), line);
        if (next++ == lines.end()) return false;
    }
    return true;
}

}  // namespace test
