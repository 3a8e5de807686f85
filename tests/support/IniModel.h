// Test support: what an INI file holds and how it is saved, told once more.
#pragma once

#include <functional>
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

    static Entry entryOf(const std::string& line, char separator) {
        const std::size_t end = std::string(line.c_str()).find(separator);
        if (end == std::string::npos) return {line, "", ""};
        return {line, line.substr(0, end), line.substr(end + 1)};
    }
    std::string keyOf(const std::string& name) const {
        return cased ? name.c_str() : folded<std::string>(name.c_str());
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
                sections[name].push_back(entryOf(line, '='));
        }
    }
    std::string save() const {
        std::string first, rest;
        bool apart = sections.contains(kAnonymous);
        for (const auto& [name, entries] : sections) {
            const bool anonymous = keyOf(name) == keyOf(kAnonymous);
            if (!anonymous) rest += (apart ? "\r\n[" : "[") + name + "]\r\n";
            if (!anonymous) apart = name.find_first_not_of(' ') != std::string::npos;
            for (const Entry& entry : entries)
                (anonymous ? first : rest) += entry.text('=') + "\r\n";
        }
        return first + rest;
    }

    static constexpr char kAnonymous[] = "@@@ANONYMOUS_SECTION_RESERVED_NAME@@@";
    using Less = std::function<bool(const std::string&, const std::string&)>;
    bool cased;
    std::map<std::string, std::vector<Entry>, Less> sections{
        [this](const auto& a, const auto& b) { return keyOf(a) < keyOf(b); }};
};

}  // namespace test
