// Configuration files: a settings file as its user left it.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "Vorn/String.h"
#include "Vorn/WString.h"
#include "Vorn/WStringUtils.h"
#include "platform/Export.h"

namespace Vorn {

/// Whether names that differ only in the case of A to Z are the same.
enum class Case : bool { ignored, exact };

namespace SettingsPrivate {

class Model;

VORN_EXPORT bool read(std::string_view text, bool& value) noexcept;
VORN_EXPORT bool read(std::string_view text, std::int64_t& value) noexcept;
VORN_EXPORT bool read(std::string_view text, std::uint64_t& value) noexcept;
VORN_EXPORT bool read(std::string_view text, float& value) noexcept;
VORN_EXPORT bool read(std::string_view text, double& value) noexcept;

/// A number as text.
struct VORN_EXPORT Digits {
    explicit Digits(std::int64_t value) noexcept;
    explicit Digits(std::uint64_t value) noexcept;
    explicit Digits(float value) noexcept;
    explicit Digits(double value) noexcept;
    std::string_view view() const { return {text, size}; }

    char text[32] = {};
    std::size_t size;
};

/// Removes the next element from a list and returns it without the blanks at its ends. The list is
/// null after the last one.
VORN_EXPORT std::string_view nextElement(std::string_view& list) noexcept;
/// Throw `RuntimeError` for a value that would not be read back as it was written.
VORN_EXPORT void requireElement(std::string_view element);
VORN_EXPORT void requireUnambiguous(std::string_view list, std::size_t elements);
VORN_EXPORT void requireSame(const WString& text, const WString& read);

template <class T>
constexpr bool kIsCharacter =
    std::is_same_v<T, char> || std::is_same_v<T, wchar_t> || std::is_same_v<T, char8_t> ||
    std::is_same_v<T, char16_t> || std::is_same_v<T, char32_t>;
template <class T>
constexpr bool kIsInteger = std::is_integral_v<T> && !std::is_same_v<T, bool> && !kIsCharacter<T>;
template <class T>
using Widest = std::conditional_t<std::is_signed_v<T>, std::int64_t, std::uint64_t>;

template <class T>
struct IsText : std::is_same<T, String> {};
template <class Traits, class Allocator>
struct IsText<std::basic_string<char, Traits, Allocator>> : std::true_type {};

template <class T>
struct IsList : std::false_type {};
template <class T, class Allocator>
struct IsList<std::vector<T, Allocator>> : std::true_type {
    using Element = T;
};
template <class T>
struct IsList<::Vector<T>> : std::true_type {
    using Element = T;
};

}  // namespace SettingsPrivate

/// A settings file in memory, as its user left it. A change touches only the lines of what is
/// changed and no other byte: order, blank lines, comments, spelling, line ends and a byte order
/// mark stay.
///
///     Vorn::Settings settings;
///     if (!settings.load(L"studio.ini")) return;
///     const int width = settings.get("Video", "Width", 1920);
///     settings.set("Video", "Width", 2 * width);
///     if (!settings.save(L"studio.ini")) warn();
///
/// Lines mean what they mean to `VornIniFile`, with these additions. A setting is a line with a "="
/// whose key is not empty and does not begin with ";" or "#". All other lines, except headers, are
/// comments. Keys and values do not include the blanks around them, which are spaces and control
/// bytes. Sections with the same name are one section; if a key is repeated in it, the first one
/// counts. The section "" holds what comes before the first header or below "[]". A byte order mark
/// belongs to no line. The case rule applies to the names of sections and keys alike.
///
/// Copies are deep; a moved-from object is empty. Const operations may run on any number of threads
/// at once, others on only one. Views are valid until the next operation that is not const. A text
/// argument may be one of the object's own views. Every operation that needs memory can throw
/// `std::bad_alloc`, also if the file would reach 4 GiB; nothing has changed then.
class VORN_EXPORT Settings {
public:
    /// A text argument: anything that converts to `std::string_view`, or a `String`. Null is empty.
    class Text : public std::string_view {
    public:
        template <class T,
                  class = std::enable_if_t<std::is_convertible_v<const T&, std::string_view>>>
        Text(const T& text) : std::string_view(text) {}
        Text(const char* text) : std::string_view(text ? text : "") {}
        Text(const String& text) : std::string_view(text, text.size()) {}
    };

    /// A setting of the file.
    struct Entry {
        std::string_view key, value;
    };

    /// A section of the file, as a view.
    class VORN_EXPORT Section {
    public:
        /// As its first header spells it.
        std::string_view name() const noexcept;
        /// In file order, repeated keys included.
        std::vector<Entry> entries() const;

    private:
        friend class Settings;
        Section(const SettingsPrivate::Model* sectionOf, std::uint32_t position) noexcept
            : model(sectionOf), index(position) {}

        const SettingsPrivate::Model* model;
        std::uint32_t index;
    };

    explicit Settings(Case caseRule = Case::ignored) noexcept : rule(caseRule) {}
    Settings(const Settings& other);
    Settings(Settings&& other) noexcept
        : rule(other.rule), model(std::exchange(other.model, nullptr)) {}
    ~Settings();
    Settings& operator=(Settings other) noexcept {
        std::swap(rule, other.rule);
        std::swap(model, other.model);
        return *this;
    }

    /// Replaces everything with the contents of the file. Returns false and changes nothing if the
    /// file cannot be opened or read, is empty, or has 4 GiB or more.
    bool load(const WString& path);
    /// Writes the file through the platform, which keeps the old one until the new one is complete,
    /// and reads it back. Returns true only if the file then holds what it should.
    bool save(const WString& path) const;
    /// The same for a path of the file system, whose bytes are UTF-8.
    template <std::same_as<std::filesystem::path> Path>
    bool load(const Path& path) {
        return load(WStringFromPath(path));
    }
    template <std::same_as<std::filesystem::path> Path>
    bool save(const Path& path) const {
        return save(WStringFromPath(path));
    }
    /// The same with a text in memory in place of the file.
    void parse(Text text);
    std::string text() const {
        std::string all(size(), '\0');
        copyTo(all.data());
        return all;
    }
    /// The size of the text in bytes, and a copy of its bytes.
    std::size_t size() const noexcept;
    void copyTo(char* buffer) const noexcept;

    /// The value of a setting as it is in the file; none if there is no such setting.
    std::optional<std::string_view> find(Text section, Text key) const noexcept;
    /// The value of a setting, or `fallback` if there is none or it is not of that type. Types are
    /// `bool` (true, false, yes, no, on, off, 1, 0, in any case), all integers, `float`, `double`,
    /// `String`, standard strings, `WString` (UTF-8 in the file), `std::filesystem::path`, and
    /// `std::vector` and `Vector` of these, with commas between the elements. The locale does not
    /// matter.
    template <class T>
    T get(Text section, Text key, T fallback) const {
        const std::optional<std::string_view> found = find(section, key);
        T value{};
        return found && read(*found, value) ? value : fallback;
    }
    String get(Text section, Text key, const char* fallback) const {
        return get(section, key, String(fallback));
    }
    WString get(Text section, Text key, const wchar_t* fallback) const {
        return get(section, key, WString(fallback));
    }

    /// Changes the value in the setting's line. A new setting goes after the last one of its
    /// section, written in the same style; a new section goes to the end, after an empty line.
    /// Takes the types of `get`, which then returns the same value: doubles bit by bit, except NaN.
    /// Throws `RuntimeError` for what a line cannot hold: line ends, zero bytes, blanks at an end,
    /// a key that is empty, contains "=" or begins with "[", ";" or "#", a comma in an element of a
    /// list, a list of one empty text.
    template <class T>
    void set(Text section, Text key, const T& value) {
        if constexpr (std::is_convertible_v<const T&, Text>) {
            put(section, key, value);
        } else {
            std::string written;
            append(written, value);
            put(section, key, written);
        }
    }

    /// Removes a setting and its repeats. Returns false if there is none.
    bool erase(Text section, Text key);
    /// Removes a section: all lines from each of its headers to the next header. Comments directly
    /// above the next header stay, since they describe it. Returns false if there is none.
    bool eraseSection(Text section);

    /// All sections in the order of their first lines, including those without settings.
    std::vector<Section> sections() const;
    bool contains(Text section) const noexcept;
    /// The settings of one section; none if there is no such section.
    std::vector<Entry> entries(Text section) const;

private:
    template <class T>
    static bool read(std::string_view text, T& value) {
        using namespace SettingsPrivate;
        if constexpr (kIsInteger<T>) {
            Widest<T> wide;
            if (!SettingsPrivate::read(text, wide) || !std::in_range<T>(wide)) return false;
            value = static_cast<T>(wide);
            return true;
        } else if constexpr (IsText<T>::value) {
            value = T(text.data(), static_cast<unsigned>(text.size()));
            return true;
        } else if constexpr (std::is_same_v<T, WString>) {
            value = WStringFromView(text);
            return true;
        } else if constexpr (std::is_same_v<T, std::filesystem::path>) {
            value = text;
            return true;
        } else if constexpr (IsList<T>::value) {
            for (bool more = !text.empty(); more; more = text.data()) {
                typename IsList<T>::Element element{};
                if (!read(nextElement(text), element)) return false;
                value.push_back(std::move(element));
            }
            return true;
        } else {
            return SettingsPrivate::read(text, value);
        }
    }

    template <class T>
    static void append(std::string& out, const T& value) {
        using namespace SettingsPrivate;
        if constexpr (std::is_convertible_v<const T&, Text>) {
            out += Text(value);
        } else if constexpr (std::is_same_v<T, bool>) {
            out += value ? "true" : "false";
        } else if constexpr (kIsInteger<T>) {
            out += Digits(static_cast<Widest<T>>(value)).view();
        } else if constexpr (std::is_convertible_v<const T&, WString>) {
            const WString& wide = value;
            const UTF8String bytes = UTF8FromWString(wide);
            requireSame(wide, WStringFromUTF8(bytes.c_str()));
            out += bytes;
        } else if constexpr (std::is_same_v<T, std::filesystem::path>) {
            out += value.native();
        } else if constexpr (IsList<T>::value) {
            std::size_t count = 0;
            for (const auto& element : value) {
                const std::size_t start = out.size() + (count > 0);
                if (count++ > 0) out += ',';
                append(out, element);
                requireElement(std::string_view(out).substr(start));
            }
            requireUnambiguous(out, count);
        } else {
            out += Digits(value).view();
        }
    }

    void put(Text section, Text key, Text value);

    Case rule;
    SettingsPrivate::Model* model = nullptr;
};

}  // namespace Vorn
