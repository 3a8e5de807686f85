// Test support: what an INI file holds and how it is saved, told once more.
#pragma once

#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/TextModels.h"

namespace test {

struct IniModel {
    struct Entry {
        std::string text(char separator) const {
            return state == 2 ? attrib + separator + value : line;
        }
        std::string line, attrib, value;
        int state = 0;
    };
    struct Section {
        std::string name;
        std::vector<Entry> entries;
    };

    static Entry entryOf(const std::string& line, char separator) {
        const std::size_t end = std::string(line.c_str()).find(separator);
        if (end == std::string::npos) return {line, "", ""};
        return {line, line.substr(0, end), line.substr(end + 1)};
    }
    std::string keyOf(const std::string& name) const {
        return cased ? name.c_str() : folded<std::string>(name.c_str());
    }
    std::vector<Entry>& entriesOf(const std::string& name) {
        return sections.try_emplace(keyOf(name), Section{name, {}}).first->second.entries;
    }
    void load(const std::string& file, char delimiter) {
        std::string controls = "\x7F", name = kAnonymous, line;
        for (char c = 0; c < ' '; ++c) controls += c;
        std::istringstream in(file);
        for (bool first = true; std::getline(in, line, delimiter); first = false) {
            line.erase(0, first ? 0 : line.find_first_not_of(controls));
            line.erase(line.find_last_not_of(controls) + 1);
            line.erase(line.find_last_not_of(' ') + 1).erase(0, line.find_first_not_of(' '));
            if (line.size() > 1 && line[0] == '[' && line.back() == ']')
                name = line.substr(1, line.size() - 2);
            else if (!line.empty())
                entriesOf(name).push_back(entryOf(line, '='));
        }
    }
    std::string save() const {
        std::string first, rest;
        bool apart = sections.contains(keyOf(kAnonymous));
        for (const auto& [key, section] : sections) {
            const bool anonymous = key == keyOf(kAnonymous);
            if (!anonymous) rest += (apart ? "\r\n[" : "[") + section.name + "]\r\n";
            if (!anonymous) apart = section.name.find_first_not_of(' ') != std::string::npos;
            for (const Entry& entry : section.entries)
                (anonymous ? first : rest) += entry.text('=') + "\r\n";
        }
        return first + rest;
    }

    static constexpr char kAnonymous[] = "@@@ANONYMOUS_SECTION_RESERVED_NAME@@@";
    bool cased;
    std::map<std::string, Section> sections{};
};

}  // namespace test
