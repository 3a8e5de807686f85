// Reads a configuration file, changes it, saves it, and shows what that did to the file.
//
// Usage: settings FILE.ini WORKFOLDER
//
// Works on a copy of FILE in WORKFOLDER. The exit code is 0 only if every step held.

#include <algorithm>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "Vorn/Vorn.h"

namespace {

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

constexpr char kAddedSection[] = "Added by the example";

void require(bool held, const std::string& failure) {
    if (!held) throw std::runtime_error(failure);
}

bool isBlank(char c) {
    return (c >= 0 && c <= ' ') || c == 0x7F;
}

bool isComment(const std::string& line) {
    return line[0] == ';' || line[0] == '#';
}

// A comment that happens to hold "=" has an attribute and a value, too.
bool isSetting(const Vorn::AttribValuePair& entry) {
    const std::string attrib(entry.getAttrib());
    return entry.valid() && !isBlank(attrib[0]) && !isComment(attrib);
}

template <class Entries>
auto* firstSetting(Entries& section) {
    const auto found = std::ranges::find_if(section, isSetting);
    return found != section.end() ? &*found : nullptr;
}

// Cuts what does not fit the screen, but never inside a UTF-8 character.
void print(const char* heading, const Lines& lines) {
    constexpr std::size_t kMost = 9;
    constexpr std::size_t kWidth = 72;
    std::cout << heading << '\n';
    for (std::size_t i = 0; i < std::min(lines.size(), kMost); ++i) {
        std::size_t end = std::min(lines[i].size(), kWidth);
        while (end > 0 && (lines[i][end] & 0xC0) == 0x80) --end;
        std::cout << "  " << lines[i].substr(0, end) << (end < lines[i].size() ? "...\n" : "\n");
    }
    if (lines.size() > kMost) std::cout << "  and " << lines.size() - kMost << " more\n";
}

void list(const VornIniFile& ini) {
    Lines lines;
    for (auto section = ini.getSectionIterator(); section.valid(); ++section) {
        String line = "[" + section.name() + "] has " + String(unsigned((*section).size()));
        if (const auto* first = firstSetting(*section)) line += ", first " + first->asString('=');
        lines.emplace_back(line);
    }
    print("Sections and their entries:", lines);
}

// What the lines of a file hold, without the white space around it, sorted.
Lines sortedLines(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    Lines lines;
    for (std::string line; std::getline(in, line);) {
        line.erase(std::find_if_not(line.rbegin(), line.rend(), isBlank).base(), line.end());
        line.erase(line.begin(), std::find_if_not(line.begin(), line.end(), isBlank));
        if (!line.empty()) lines.push_back(line);
    }
    std::ranges::sort(lines);
    return lines;
}

Lines difference(const Lines& a, const Lines& b) {
    Lines result;
    std::ranges::set_difference(a, b, std::back_inserter(result));
    return result;
}

void run(const fs::path& file, const fs::path& folder) {
    const fs::path copy = folder / file.filename();
    fs::copy_file(file, copy, fs::copy_options::overwrite_existing);
    fs::permissions(copy, fs::perms::owner_write, fs::perm_options::add);
    const Lines before = sortedLines(copy);
    const WString path = Vorn::WStringFromUTF8(copy.c_str());

    // Section names are compared without regard to case.
    VornIniFile ini(false);
    require(ini.load(path, '\n'), file.string() + " is empty or cannot be read");
    list(ini);

    ini.removeSection(kAddedSection);
    auto section = ini.getSectionIterator();
    while (section.valid() && !firstSetting(*section)) ++section;
    auto* const changed = section.valid() ? firstSetting(*section) : nullptr;
    if (changed) changed->setValue(changed->getValue() + " (changed)");
    VornIniFile::Entries& added = ini[kAddedSection];
    added.emplace_back("Author", "settings", '=');
    added.emplace_back(WString(L"Gr\u00F6\u00DFe"), WString(L"2 \u00D7 3"), '=');
    require(ini.save(path), copy.string() + " cannot be written");

    const VornIniFile saved(path, true, false);
    require(!changed || std::ranges::count(saved[section.name()], *changed) > 0,
            "the change was not saved");
    require(saved[kAddedSection] == added, "the added section was not saved");
    const Lines after = sortedLines(copy);
    print("Lines that went:", difference(before, after));
    print("Lines that came:", difference(after, before));
    const auto comments = std::ranges::count_if(before, isComment);
    require(std::ranges::count_if(after, isComment) == comments, "a comment was lost");
    std::cout << "Comment lines, before and after: " << comments << '\n';
}

}  // namespace

int main(int argc, char** argv) {
    try {
        require(argc == 3, "usage: settings FILE.ini WORKFOLDER");
        run(argv[1], argv[2]);
        return 0;
    } catch (const std::exception& failure) {
        std::cerr << "settings: " << failure.what() << '\n';
    } catch (const Vorn::Exception::Base& failure) {
        std::cerr << "settings: " << failure.msg() << '\n';
    }
    return 1;
}
