// Reads and changes single settings of an INI file, from a shell.
//
// Usage: vorn-ini get|set|unset|list FILE [SECTION [KEY [VALUE]]] [--case-sensitive]
//
// Settings before the first header are in the section "". Keys and values are taken without the
// spaces around them. The exit code is 0 when it is done, 1 when the setting or section is not
// there, and 2 when the file cannot be read or written.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <functional>
#include <iostream>
#include <stdexcept>
#include <string>
#include <string_view>

#include "Vorn/StringManip.h"
#include "Vorn/VornIniFile.h"
#include "Vorn/WStringUtils.h"

namespace {

using Vorn::AttribValuePair;

enum Result { kDone = 0, kNotThere = 1, kFailed = 2 };

struct Request {
    std::string file, section, key, value;
    bool caseSensitive = false;
};

String trimmed(const String& text) {
    String result(text);
    if (result.isEmpty()) return "";
    return result.stripLeadingSpaces().stripTrailingSpaces();
}

// Two entries without "=" are equal as pairs, whatever they say.
bool haveSameText(const AttribValuePair& a, const AttribValuePair& b) {
    const String textA = a.asString('='), textB = b.asString('=');
    return std::string_view(textA, textA.size()) == std::string_view(textB, textB.size());
}

// Whether a file that holds the entry in this section gives both back.
bool isStorable(const String& section, const AttribValuePair& entry) {
    VornIniFile::Sections read{VornIniFile_Private::StringLT_Fancy(true)};
    VornIniFile_Private::SectionsBuildingOutputIterator builder(&read);
    String text("\n");
    if (section != VornIniFile::kAnonymousSection()) text += "[" + section + "]\n";
    text += entry.asString('=');
    Vorn::StringManip::splitBuffer(builder, text, text.size(), '\n');
    const auto found = read.find(section);
    return read.size() == 1 && found != read.end() && found->second.size() == 1 &&
           found->second[0].getAttrib() == entry.getAttrib() &&
           found->second[0].getValue() == entry.getValue();
}

class Settings {
public:
    explicit Settings(const Request& made)
        : request(made),
          ini(Vorn::WStringFromUTF8(made.file.c_str()), false, made.caseSensitive),
          section(made.section.empty() ? VornIniFile::kAnonymousSection()
                                       : String(made.section.c_str())) {
        const bool empty = std::filesystem::is_regular_file(request.file) &&
                           std::filesystem::is_empty(request.file);
        if (!empty && !ini.load(WString(), '\n')) fail("cannot be read");
    }

    Result list() const {
        if (!request.section.empty() && !ini.sectionExists(section)) return kNotThere;
        for (auto walk = ini.getSectionIterator(); walk.valid(); ++walk)
            if (request.section.empty() || equal(walk.name(), section)) print(walk.name(), *walk);
        return kDone;
    }

    Result get() const {
        const VornIniFile::Entries& entries = ini.getSection(section);
        const auto found = std::ranges::find_if(entries, isMeant());
        if (found == entries.end()) return kNotThere;
        std::cout << trimmed(found->getValue()) << '\n';
        return kDone;
    }

    Result set() {
        VornIniFile::Entries& entries = ini.getSection(section);
        const auto found = std::ranges::find_if(entries, isMeant());
        const String value = trimmed(request.value.c_str());
        if (found != entries.end()) found->setValue(value);
        const AttribValuePair& changed =
            found != entries.end() ? *found
                                   : entries.emplace_back(trimmed(request.key.c_str()), value, '=');
        if (!isStorable(section, changed)) fail("cannot hold this section, key or value");
        return save();
    }

    Result unset() {
        if (!ini.sectionExists(section)) return kNotThere;
        return std::erase_if(ini.getSection(section), isMeant()) > 0 ? save() : kNotThere;
    }

private:
    [[noreturn]] void fail(const char* reason) const {
        throw std::runtime_error(request.file + ": " + reason);
    }

    bool equal(const String& a, const String& b) const {
        const VornIniFile_Private::StringLT_Fancy less(request.caseSensitive);
        return !less(a, b) && !less(b, a);
    }

    std::function<bool(const AttribValuePair&)> isMeant() const {
        return [this](const AttribValuePair& entry) {
            const String key = trimmed(entry.getAttrib());
            return key.size() > 0 && equal(key, trimmed(request.key.c_str()));
        };
    }

    static void print(const String& name, const VornIniFile::Entries& entries) {
        if (name != VornIniFile::kAnonymousSection()) std::cout << '[' << name << "]\n";
        for (const AttribValuePair& entry : entries)
            if (entry.valid()) std::cout << entry.asString('=') << '\n';
    }

    // `save` says whether the file could be opened; whether the disk took it only reading tells.
    Result save() {
        if (!ini.save(WString())) fail("cannot be written");
        VornIniFile again(Vorn::WStringFromUTF8(request.file.c_str()), true, request.caseSensitive);
        for (auto walk = ini.getSectionIterator(); walk.valid(); ++walk)
            if (!std::ranges::equal(again.getSection(walk.name()), *walk, haveSameText))
                fail("does not hold what was written");
        return kDone;
    }

    const Request& request;
    VornIniFile ini;
    const String section;
};

int run(int argc, char** argv) {
    CLI::App app("Reads and changes single settings of an INI file.", "vorn-ini");
    Request request;
    app.require_subcommand(1);
    app.add_flag("--case-sensitive", request.caseSensitive,
                 "names and keys that differ in case differ");
    const auto add = [&](const char* name, const char* help) {
        CLI::App* const command = app.add_subcommand(name, help)->fallthrough();
        command->add_option("FILE", request.file)->required();
        auto* const section = command->add_option("SECTION", request.section, "\"\" for none");
        if (std::string(name) == "list") return command;
        section->required();
        command->add_option("KEY", request.key)->required();
        return command;
    };
    add("list", "shows all settings, or those of one section");
    const CLI::App* const get = add("get", "shows the value of a setting");
    CLI::App* const set = add("set", "changes a setting, or adds it");
    const CLI::App* const unset = add("unset", "removes a setting");
    set->add_option("VALUE", request.value)->required();
    try {
        app.parse(argc, argv);
        Settings settings(request);
        return get->parsed()     ? settings.get()
               : set->parsed()   ? settings.set()
               : unset->parsed() ? settings.unset()
                                 : settings.list();
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? kDone : kFailed;
    }
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& failure) {
        std::cerr << "vorn-ini: " << failure.what() << '\n';
        return kFailed;
    }
}
