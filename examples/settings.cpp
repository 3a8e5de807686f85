// Reads a configuration file, changes it, saves it, and shows what that did.
//
// Usage: settings FILE.ini WORKFOLDER
//
// Works on a copy of FILE in WORKFOLDER. The exit code is 0 only if every step held.

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "Vorn/Vorn.h"

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

static void require(bool held, const char* failure) {
    if (!held) throw std::runtime_error(failure);
}

static bool isComment(const std::string& line) {
    return line.starts_with(';') || line.starts_with('#');
}

static bool isSetting(const Vorn::AttribValuePair& entry) {
    return entry.valid() && !isComment(std::string(entry.getAttrib()));
}

// The lines of all entries, sorted.
static Lines linesOf(const VornIniFile& ini) {
    Lines lines;
    for (auto section = ini.getSectionIterator(); section.valid(); ++section)
        for (const auto& entry : *section) lines.emplace_back(entry.asString('='));
    std::ranges::sort(lines);
    return lines;
}

// What `a` has and `b` has not.
static void print(const char* heading, const Lines& a, const Lines& b) {
    Lines lines;
    std::ranges::set_difference(a, b, std::back_inserter(lines));
    std::cout << heading << " (" << lines.size() << ")\n";
    for (const std::string& line : lines) std::cout << "  " << line << '\n';
}

int main(int argc, char** argv) try {
    require(argc == 3, "usage: settings FILE.ini WORKFOLDER");
    const fs::path copy = argv[2] / fs::path(argv[1]).filename();
    fs::copy_file(argv[1], copy, fs::copy_options::overwrite_existing);
    fs::permissions(copy, fs::perms::owner_write, fs::perm_options::add);
    const WString path = Vorn::WStringFromUTF8(copy.c_str());
    VornIniFile ini(false);  // Section names are compared without regard to case.
    require(ini.load(path, '\n'), "the file is empty or cannot be read");
    const Lines before = linesOf(ini);
    std::cout << "Sections\n";
    for (auto each = ini.getSectionIterator(); each.valid(); ++each)
        std::cout << "  [" << each.name() << "] " << (*each).size() << " entries\n";

    auto section = ini.getSectionIterator();
    while (section.valid() && std::ranges::none_of(*section, isSetting)) ++section;
    if (section.valid()) {
        const auto setting = std::ranges::find_if(*section, isSetting);
        setting->setValue(setting->getValue() + " (changed)");
    }
    ini["Added by the example"].emplace_back(WString(L"Gr\u00F6\u00DFe"), L"2 \u00D7 3", '=');
    require(ini.save(path), "the copy cannot be written");

    const Lines after = linesOf(VornIniFile(path, true, false));
    require(after == linesOf(ini), "a line was not saved");
    print("Lines that went", before, after);
    print("Lines that came", after, before);
    const auto comments = std::ranges::count_if(before, isComment);
    require(std::ranges::count_if(after, isComment) == comments, "a comment was lost");
    std::cout << "Comments, before and after: " << comments << '\n';
} catch (const std::exception& failure) {
    return std::cerr << "settings: " << failure.what() << '\n', 1;
}
