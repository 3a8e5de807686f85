// Test support: what an INI file holds and how it is saved, told once more.
#pragma once

#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/TextModels.h"

namespace test {

inline std::string trimmed(std::string text, const std::string& bytes) {
    text.erase(text.find_last_not_of(bytes) + 1);
    return text.erase(0, text.find_first_not_of(bytes));
}

inline std::string controls() {
    std::string bytes = "\x7F";
    for (char c = 0; c < ' '; ++c) bytes += c;
    return bytes;
}

/// The lines that are not blank, trimmed. Controls at the start of the first one stay.
inline std::vector<std::string> iniLines(const std::string& file, char delimiter) {
    std::vector<std::string> lines;
    std::istringstream in(file);
    bool isFirst = true;
    for (std::string line; std::getline(in, line, delimiter); isFirst = false) {
        line.erase(line.find_last_not_of(controls()) + 1);
        if (!isFirst) line = trimmed(line, controls());
        line = trimmed(line, " ");
        if (!line.empty()) lines.push_back(line);
    }
    return lines;
}

inline bool isHeader(const std::string& line) {
    return line.starts_with('[') && line.ends_with(']');
}

inline std::string headerName(const std::string& line) {
    return line.substr(1, line.size() - 2);
}

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

    void load(const std::string& file, char delimiter) {
        std::string name = kAnonymous;
        for (const std::string& line : iniLines(file, delimiter)) {
            if (isHeader(line))
                name = headerName(line);
            else
                sections[name].push_back(entryOf(line, '='));
        }
    }

    std::string save() const {
        std::string anonymous, others;
        bool needsBlankLine = sections.contains(kAnonymous);
        for (const auto& [name, entries] : sections) {
            std::string lines;
            for (const Entry& entry : entries) lines += entry.text('=') + "\r\n";
            if (keyOf(name) == keyOf(kAnonymous)) {
                anonymous = lines;
                continue;
            }
            if (needsBlankLine) others += "\r\n";
            others.append("[").append(name).append("]\r\n").append(lines);
            needsBlankLine = name.find_first_not_of(' ') != std::string::npos;
        }
        return anonymous + others;
    }

    /// What names that are the same have in common.
    std::string keyOf(const std::string& name) const {
        return cased ? name.c_str() : folded<std::string>(name.c_str());
    }

    static constexpr char kAnonymous[] = "@@@ANONYMOUS_SECTION_RESERVED_NAME@@@";
    using Less = std::function<bool(const std::string&, const std::string&)>;
    bool cased;
    std::map<std::string, std::vector<Entry>, Less> sections{
        [this](const auto& a, const auto& b) { return keyOf(a) < keyOf(b); }};
};

}  // namespace test
