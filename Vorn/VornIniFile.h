// Configuration files: the model of an INI file.
#pragma once

#include <cstddef>
#include <iterator>
#include <map>
#include <utility>
#include <vector>

#include "Vorn/AttribValuePair.h"
#include "Vorn/String.h"
#include "Vorn/WString.h"
#include "platform/Export.h"

namespace VornIniFile_Private {

/// The order of section names: by bytes up to the first zero byte. Unless `caseSensitive`, A to Z
/// equal a to z, in every locale.
struct VORN_EXPORT StringLT_Fancy {
    explicit StringLT_Fancy(bool sensitive) : caseSensitive(sensitive) {}
    bool operator()(const String& a, const String& b) const noexcept;

    bool caseSensitive;
};

}  // namespace VornIniFile_Private

/// An INI file in memory: named sections, each an ordered list of entries. Every line that is not
/// blank is kept, comments included. Entries before the first header belong to the section
/// `kAnonymousSection()`. The model's case rule applies to section names: those that are equal by
/// it name one section, under the spelling that came first. Sections are sorted by name.
///
/// Copies are deep except for the shared texts. One thread at a time may use a model, even to read
/// it. Every operation that needs memory can throw `std::bad_alloc`.
class VORN_EXPORT VornIniFile {
public:
    using Entries = std::vector<Vorn::AttribValuePair>;
    using Sections = std::map<String, Entries, VornIniFile_Private::StringLT_Fancy>;

    /// Walks the sections in order. A copyable value that owns nothing; adding and removing other
    /// sections does not invalidate it. Using it when it is not on a section throws
    /// `Vorn::Exception::RuntimeError` and does not move it.
    template <class Position, class List>
    class VORN_EXPORT BasicSectionIterator {
    public:
        /// Not valid.
        BasicSectionIterator() = default;
        BasicSectionIterator(Position position, Position endPosition)
            : current(position), end(endPosition) {}

        /// Whether it is on a section.
        bool valid() const;
        /// The section's name as stored.
        String name() const;
        List& operator*() const;
        BasicSectionIterator& operator++();
        BasicSectionIterator operator++(int);

    private:
        Position current{};
        Position end{};
    };
    using SectionIterator = BasicSectionIterator<Sections::iterator, Entries>;
    using ConstSectionIterator = BasicSectionIterator<Sections::const_iterator, const Entries>;

    /// A model for the file at `path`. With `loadNow` the file is loaded, if possible; otherwise
    /// the model is empty.
    VornIniFile(const WString& path, bool loadNow, bool caseSensitive);
    /// An empty model without a file.
    explicit VornIniFile(bool caseSensitive);
    /// Deleted: a pointer to text would convert to `bool`.
    VornIniFile(const char*) = delete;
    VornIniFile(const wchar_t*) = delete;
    VornIniFile(const VornIniFile& other) = default;
    /// Writes nothing.
    ~VornIniFile();
    VornIniFile& operator=(VornIniFile other) noexcept {
        path.swap(other.path);
        std::swap(caseSensitive, other.caseSensitive);
        sections.swap(other.sections);
        return *this;
    }

    /// The reserved name of the section that holds the entries before the first header. Any thread.
    static const String& kAnonymousSection();
    bool getSectionNameCaseSensitivity() const;

    /// Adds the contents of the file, split into lines at `delimiter`, to the model. A `path` that
    /// is not empty first becomes the model's path, even if loading fails. Returns false and leaves
    /// the model unchanged if there is no path, or if the file cannot be opened or read or is
    /// empty. For files of 4 GiB and more, the low 32 bits of their size say how much is read. When
    /// memory runs out, what was added so far stays.
    bool load(WString path, char delimiter);
    /// Writes the whole model, with CR LF after every line: first the entries without a header,
    /// then the sections in order, with an empty line between sections. Takes `path` as `load`
    /// does. Returns whether the file could be opened; the results of the writes are ignored.
    /// Everything is allocated before the file is opened.
    bool save(WString path);

    /// The entries of a section, which is created if it does not exist. The reference is valid
    /// until the section is removed.
    Entries& getSection(const String& name);
    /// The entries of a section; if it does not exist, an empty list, the same for all such calls.
    const Entries& getSection(const String& name) const;
    Entries& operator[](const String& name);
    const Entries& operator[](const String& name) const;
    /// The number of sections, including empty ones and the one without a header.
    unsigned getNumSections() const;
    bool sectionExists(const String& name) const;
    /// Removes a section with its entries; returns how many sections were removed, 0 or 1.
    unsigned removeSection(const String& name);
    SectionIterator getSectionIterator();
    ConstSectionIterator getSectionIterator() const;

    /// The first entry of `section` whose attribute begins with `prefix`, or its end. Without
    /// `caseSensitive`, A to Z equal a to z. The last argument is ignored: the search always starts
    /// at the first entry.
    static Entries::iterator findBeginsWith(const String& prefix, Entries& section,
                                            bool caseSensitive, Entries::iterator start);
    static Entries::const_iterator findBeginsWith(const String& prefix, const Entries& section,
                                                  bool caseSensitive,
                                                  Entries::const_iterator start);
    /// Always throw `Vorn::Exception::LogicError`.
    static Entries::iterator findContains(const String& text, Entries& section, bool caseSensitive,
                                          Entries::iterator start);
    static Entries::const_iterator findContains(const String& text, const Entries& section,
                                                bool caseSensitive, Entries::const_iterator start);

private:
    void usePath(WString& given) noexcept;
    template <class Emit>
    void forEachText(Emit emit) const;

    WString path;
    bool caseSensitive;
    Sections sections;
};

namespace VornIniFile_Private {

/// The output iterator that builds a model from lines: assigning a line adds it. Blank lines are
/// ignored and spaces at both ends dropped. "[name]" makes that section the current one; any other
/// line is an entry of the current section.
class VORN_EXPORT SectionsBuildingOutputIterator {
public:
    using iterator_category = std::output_iterator_tag;
    using difference_type = std::ptrdiff_t;
    using value_type = void;
    using pointer = void;
    using reference = void;

    /// The lines go to `target`, which is not owned; at first to the section without a header.
    explicit SectionsBuildingOutputIterator(VornIniFile::Sections* target);

    SectionsBuildingOutputIterator& operator=(const String& line);
    SectionsBuildingOutputIterator& operator*() { return *this; }
    SectionsBuildingOutputIterator& operator++() { return *this; }
    SectionsBuildingOutputIterator& operator++(int) { return *this; }

    VornIniFile::Sections* sections;
    String currentSection;
};

}  // namespace VornIniFile_Private
