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

/// The order of section names: by bytes up to the first zero byte, with A to Z taken as a to z
/// unless `caseSensitive`, whatever the locale.
struct VORN_EXPORT StringLT_Fancy {
    explicit StringLT_Fancy(bool sensitive) : caseSensitive(sensitive) {}
    bool operator()(const String& a, const String& b) const noexcept;

    bool caseSensitive;
};

}  // namespace VornIniFile_Private

/// An INI file in memory: named sections, each an ordered list of entries. Every line of a file
/// that holds something is kept, comments included. Entries before the first header belong to a
/// section with a reserved name. Names are compared with the file's case rule; sections that differ
/// only in what it ignores are one, under the spelling that came first. Sections are kept in the
/// order of their names.
///
/// Copies are deep but for the shared texts. One thread at a time, read-only use beside a change
/// included. `std::bad_alloc` passes out of every operation that needs memory.
class VORN_EXPORT VornIniFile {
public:
    using Entries = std::vector<Vorn::AttribValuePair>;
    using Sections = std::map<String, Entries, VornIniFile_Private::StringLT_Fancy>;

    /// Walks the sections in their order. A copyable value that owns nothing; adding and removing
    /// other sections does not disturb it. Using it without a section to stand on throws
    /// `Vorn::Exception::RuntimeError` and leaves it as it is.
    template <class Position, class List>
    class VORN_EXPORT BasicSectionIterator {
    public:
        /// Not valid.
        BasicSectionIterator() = default;
        BasicSectionIterator(Position position, Position endPosition)
            : current(position), end(endPosition) {}

        /// Whether it stands on a section.
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

    /// An empty model for the file at `path`. With `loadNow` it is loaded, if it can be.
    VornIniFile(const WString& path, bool loadNow, bool caseSensitive);
    /// An empty model without a file.
    explicit VornIniFile(bool caseSensitive);
    /// Text would pass for the `bool`.
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

    /// The name of the section that holds the entries before the first header. Any thread.
    static const String& kAnonymousSection();
    bool getSectionNameCaseSensitivity() const;

    /// Adds what the file holds, cut into lines at `delimiter`, to the model. A `path` that is not
    /// empty becomes the file's path first, whatever comes of it. False, with the model unchanged,
    /// when there is no path and when the file cannot be opened or read or is empty. Files of 4 GiB
    /// and more are read up to the low 32 bits of their size. When memory runs out, what was added
    /// before stays.
    bool load(WString path, char delimiter);
    /// Writes the whole model, every line ended by CR LF: the entries without header first, then
    /// the sections in order, with an empty line between sections. `path` as for `load`. Returns
    /// whether the file could be opened; the results of the writes are not looked at. Everything is
    /// allocated before the file is opened.
    bool save(WString path);

    /// The entries of a section, created empty if it does not exist. The reference holds until the
    /// section is removed.
    Entries& getSection(const String& name);
    /// The entries of a section; where it does not exist, an empty list that all such calls share.
    const Entries& getSection(const String& name) const;
    Entries& operator[](const String& name);
    const Entries& operator[](const String& name) const;
    /// The number of sections, empty ones and the one without header included.
    unsigned getNumSections() const;
    bool sectionExists(const String& name) const;
    /// Removes a section with its entries; returns how many were removed, 0 or 1.
    unsigned removeSection(const String& name);
    SectionIterator getSectionIterator();
    ConstSectionIterator getSectionIterator() const;

    /// The first entry of `section` whose attribute begins with `prefix`, or its end. Without
    /// `caseSensitive`, A to Z count as a to z. The search starts at the first entry, whatever the
    /// last argument.
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

/// The output iterator that builds a model from lines: assigning one processes it. Blank lines are
/// ignored, spaces at both ends dropped; "[name]" makes that section the current one; any other
/// line is an entry of it.
class VORN_EXPORT SectionsBuildingOutputIterator {
public:
    using iterator_category = std::output_iterator_tag;
    using difference_type = std::ptrdiff_t;
    using value_type = void;
    using pointer = void;
    using reference = void;

    /// The lines go to `target`, which is not owned, at first to the section without header.
    explicit SectionsBuildingOutputIterator(VornIniFile::Sections* target);

    SectionsBuildingOutputIterator& operator=(const String& line);
    SectionsBuildingOutputIterator& operator*() { return *this; }
    SectionsBuildingOutputIterator& operator++() { return *this; }
    SectionsBuildingOutputIterator& operator++(int) { return *this; }

    VornIniFile::Sections* sections;
    String currentSection;
};

}  // namespace VornIniFile_Private
