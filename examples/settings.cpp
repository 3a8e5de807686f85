// Reads a settings file, changes and adds settings, saves it, and reads it again.
//
// Usage: settings FILE.ini WORKFOLDER
//
// Works on a copy of FILE in WORKFOLDER. The exit code is 0 only if every step held.

#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "Vorn/Settings.h"

namespace fs = std::filesystem;
using Vorn::Settings;

static void require(bool held, const char* failure) {
    if (!held) throw std::runtime_error(failure);
}

int main(int argc, char** argv) try {
    require(argc == 3, "usage: settings FILE.ini WORKFOLDER");
    const fs::path copy = argv[2] / fs::path(argv[1]).filename();
    fs::copy_file(argv[1], copy, fs::copy_options::overwrite_existing);
    fs::permissions(copy, fs::perms::owner_write, fs::perm_options::add);

    Settings settings;  // Names are compared without regard to case.
    require(settings.load(copy), "the file is empty or cannot be read");
    std::cout << "Sections\n";
    for (const Settings::Section& section : settings.sections()) {
        const std::string_view name = section.name().empty() ? "before the first" : section.name();
        std::cout << "  " << name << ": " << section.entries().size() << " settings\n";
    }

    const auto width = settings.get("Video", "Width", 1920);
    settings.set("Video", "Width", 2 * width);  // Changes the line or adds it.
    settings.set("Video", "Crop", std::vector<int>{0, 0, 8, 8});
    settings.set("Operator", "Name", L"J\u00F6rg");  // A new section.
    require(settings.save(copy), "the copy does not hold what was to be written");

    Settings again;
    require(again.load(copy) && again.text() == settings.text(), "the copy cannot be read again");
    require(again.get("video", "width", 0) == 2 * width, "the width was not saved");
    std::cout << "Video/Width was " << width << " and is " << again.get("Video", "Width", 0)
              << '\n';
} catch (const std::exception& failure) {
    return std::cerr << "settings: " << failure.what() << '\n', 1;
}
