// Reads and changes single settings of an INI file, from a shell. `--help` says how.

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <array>
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

#include "Vorn/Exception.h"
#include "Vorn/Settings.h"
#include "Vorn/Version.h"
#include "Vorn/WStringUtils.h"

namespace {

namespace fs = std::filesystem;
using Vorn::Settings;

enum Result { kDone = 0, kNotFound = 1, kUsage = 2, kFailed = 3 };

constexpr std::size_t kMostBytes = 0xFFFFFFFF;  // Of settings.
constexpr char kFooter[] =
    R"(FILE is a path, or - for standard input and output. SECTION "" holds the settings before the first header. Names ignore case, unless --case-sensitive is given. Put -- before a VALUE that begins with -.

Examples:
  vorn-ini get studio.ini Video Width
  vorn-ini get studio.ini Video Width --type int --default 1920
  vorn-ini set studio.ini Video Width 3840
  vorn-ini unset studio.ini Video Width
  vorn-ini unset studio.ini Video
  vorn-ini list studio.ini Video
  vorn-ini set - Video Width 3840 <studio.ini >other.ini

A change touches only its own line. The file is replaced in one step. A change waits while another vorn-ini changes a file in the same folder.

Exit codes: 0 done, 1 not found, 2 wrong usage, 3 cannot read or write.)";

struct Request {
    bool isStandard() const { return file == "-"; }
    // What a message is about.
    std::string place() const {
        std::string text = isStandard() ? "standard input" : file;
        if (!section.empty()) text += ": [" + section + ']';
        if (!key.empty()) text += (section.empty() ? ": " : " ") + key;
        return text;
    }
    void complain(const std::string& reason) const {
        std::cerr << "vorn-ini: " << place() << ": " << reason << '\n';
    }

    std::string file, section, key, value, fallback, type;
    bool caseSensitive = false, hasSection = false, hasKey = false, hasFallback = false;
};

// A file or stream that fails, with the system's reason.
[[noreturn]] void fail(const std::string& what, int error) {
    const std::string reason = std::generic_category().message(error);
    throw std::runtime_error(what + ": " +
                             (error != 0 ? reason : "does not hold what was written"));
}

class Descriptor {
public:
    explicit Descriptor(int opened) : number(opened) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (number > STDIN_FILENO) ::close(number);
    }
    int get() const { return number; }

private:
    const int number;
};

// Empty for a missing file, if that is allowed.
std::string read(const std::string& path, bool mayBeMissing) {
    const bool isStandard = path == "-";
    const std::string name = isStandard ? "standard input" : path;
    const Descriptor file(isStandard ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.get() < 0 && errno == ENOENT && mayBeMissing) return {};
    std::string text;
    std::array<char, 1 << 16> block;
    while (true) {
        const ssize_t count = file.get() < 0 ? -1 : ::read(file.get(), block.data(), block.size());
        if (count == 0) return text;
        if (count > 0) text.append(block.data(), static_cast<std::size_t>(count));
        if (text.size() > kMostBytes) fail(name, EFBIG);
        if (count < 0 && errno != EINTR) fail(name, errno);
    }
}

// Held while a file is changed. It is on the folder, because the file is replaced by a new one, and
// ends with the process.
class Lock {
public:
    explicit Lock(const fs::path& file)
        : folder(::open(folderOf(file).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        int error = folder.get() < 0 ? errno : EINTR;
        while (error == EINTR) error = ::flock(folder.get(), LOCK_EX) == 0 ? 0 : errno;
        if (error != 0) fail(file.string() + ": " + folderOf(file).string(), error);
    }

private:
    static fs::path folderOf(const fs::path& file) {
        std::error_code ignored;
        const fs::path whole = fs::weakly_canonical(fs::absolute(file), ignored);
        return (whole.empty() ? fs::absolute(file) : whole).parent_path();
    }

    const Descriptor folder;
};

class Command {
public:
    explicit Command(const Request& made)
        : request(made), settings(made.caseSensitive ? Vorn::Case::exact : Vorn::Case::ignored) {}

    Result get() {
        load(false);
        const auto found = settings.find(request.section, request.key);
        const auto value = found ? typed() : std::nullopt;
        if (found && !value) request.complain(isNone(*found));
        if (!value && !request.hasFallback) return found ? kNotFound : notFound();
        std::cout << value.value_or(request.fallback) << '\n';
        return kDone;
    }

    Result set() {
        return change(true, [this] {
            settings.set(request.section, request.key, request.value);
            const auto value = typed();
            if (!value) throw std::invalid_argument(isNone(request.value));
            settings.set(request.section, request.key, *value);
            return true;
        });
    }

    Result unset() {
        return change(false, [this] {
            return request.hasKey ? settings.erase(request.section, request.key)
                                  : settings.eraseSection(request.section);
        });
    }

    Result list() {
        load(false);
        if (!request.hasSection) {
            for (const Settings::Section& section : settings.sections()) print(section.name());
            return kDone;
        }
        if (!settings.contains(request.section)) return notFound();
        print(request.section);
        return kDone;
    }

    Result sections() {
        load(false);
        for (const Settings::Section& section : settings.sections())
            std::cout << section.name() << '\n';
        return kDone;
    }

private:
    Result notFound() const {
        request.complain("not found");
        return kNotFound;
    }
    std::string isNone(std::string_view value) const {
        return '"' + std::string(value) + "\" is not of type " + request.type;
    }
    void load(bool mayBeMissing) { settings.parse(read(request.file, mayBeMissing)); }

    template <class Edit>
    Result change(bool creates, Edit edit) {
        std::optional<Lock> lock;
        if (!request.isStandard()) lock.emplace(request.file);
        load(creates);
        if (!edit()) return notFound();
        if (request.isStandard()) {
            std::cout << settings.text();
            return kDone;
        }
        const WString path = Vorn::WStringFromUTF8(request.file.c_str());
        if (request.file != Vorn::UTF8FromWString(path).c_str()) fail(request.file, EILSEQ);
        errno = 0;
        if (!settings.save(path)) fail(request.file, errno);
        return kDone;
    }

    // The setting as its type writes it; nothing if it is not of that type.
    std::optional<std::string> typed() const {
        if (request.type == "bool") return rewritten(true, false);
        if (request.type == "int") return rewritten<std::int64_t>(0, 1);
        if (request.type == "float") return rewritten(0.0, 1.0);
        return std::string(*settings.find(request.section, request.key));
    }
    template <class T>
    std::optional<std::string> rewritten(T fallback, T other) const {
        const T value = settings.get(request.section, request.key, fallback);
        if (value == fallback && settings.get(request.section, request.key, other) == other)
            return std::nullopt;
        Settings written;
        written.set("", "value", value);
        return std::string(*written.find("", "value"));
    }

    // Of equal keys the first one, which `get` finds.
    void print(std::string_view name) const {
        if (!name.empty()) std::cout << '[' << name << "]\n";
        for (const auto& [key, value] : settings.entries(name))
            if (settings.find(name, key)->data() == value.data())
                std::cout << key << '=' << value << '\n';
    }

    const Request& request;
    Settings settings;
};

int run(int argc, char** argv) {
    CLI::App app("Reads and changes single settings of an INI file.", "vorn-ini");
    Request request;
    app.set_version_flag("--version", std::string("vorn-ini ") + vornDllVersionStr());
    app.footer(kFooter);
    app.require_subcommand(1);
    app.add_flag("--case-sensitive", request.caseSensitive,
                 "Treat names that differ only in case as different");
    const auto add = [&](const char* name, const char* help) {
        CLI::App* const command = app.add_subcommand(name, help)->fallthrough();
        command->add_option("FILE", request.file, "A path, or -")->required();
        return command;
    };
    const auto addSection = [&](CLI::App* command) {
        return command->add_option("SECTION", request.section, "The section's name, or \"\"");
    };
    const auto addKey = [&](CLI::App* command) {
        return command->add_option("KEY", request.key, "The setting's name");
    };
    const auto addType = [&](CLI::App* command) {
        command->add_option("--type", request.type, "The type that the value must have")
            ->check(CLI::IsMember({"bool", "int", "float"}));
    };
    CLI::App* const get =
        add("get", "FILE SECTION KEY [--default VALUE] [--type bool|int|float]: shows a value");
    addSection(get)->required();
    addKey(get)->required();
    addType(get);
    const auto* fallback =
        get->add_option("--default", request.fallback, "What to show if there is no such setting");
    CLI::App* const set = add("set",
                              "FILE SECTION KEY VALUE [--type bool|int|float]: changes a setting, "
                              "or adds it; creates FILE");
    addSection(set)->required();
    addKey(set)->required();
    set->add_option("VALUE", request.value)->required();
    addType(set);
    CLI::App* const unset =
        add("unset", "FILE SECTION [KEY]: removes a setting, or a whole section");
    addSection(unset)->required();
    const auto* key = addKey(unset);
    CLI::App* const list =
        add("list", "FILE [SECTION]: shows all settings, or those of one section");
    const auto* section = addSection(list);
    add("sections", "FILE: shows the names of all sections");
    try {
        app.parse(argc, argv);
        request.hasSection = section->count() > 0;
        request.hasKey = key->count() > 0;
        request.hasFallback = fallback->count() > 0;
        Command command(request);
        const Result result = get->parsed()     ? command.get()
                              : set->parsed()   ? command.set()
                              : unset->parsed() ? command.unset()
                              : list->parsed()  ? command.list()
                                                : command.sections();
        return result;
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? kDone : kUsage;
    } catch (const Vorn::Exception::RuntimeError& refusal) {
        request.complain(refusal.msg());
        return kUsage;
    } catch (const std::invalid_argument& refusal) {
        request.complain(refusal.what());
        return kUsage;
    }
}

}  // namespace

int main(int argc, char** argv) {
    try {
        const int result = run(argc, argv);
        if (!std::cout.flush()) fail("standard output", errno);
        return result;
    } catch (const std::exception& failure) {
        std::cerr << "vorn-ini: " << failure.what() << '\n';
        return kFailed;
    }
}
