#include "Vorn/VornIniFile.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <new>
#include <string_view>

#include "Vorn/Exception.h"
#include "Vorn/IniLinesPrivate.h"
#include "Vorn/Ptr.h"
#include "Vorn/StringManip.h"
#include "platform/OS.h"
#include "platform/iFile.h"
#include "platform/iFileServices.h"

using Vorn::AttribValuePair;
using VornIniFile_Private::SectionsBuildingOutputIterator;
namespace IniLines = Vorn::IniLines;

static_assert(sizeof(VornIniFile) == sizeof(WString) + 8 + sizeof(VornIniFile::Sections));
static_assert(sizeof(VornIniFile::SectionIterator) == 2 * sizeof(void*));
static_assert(sizeof(VornIniFile::ConstSectionIterator) == 2 * sizeof(void*));
static_assert(offsetof(SectionsBuildingOutputIterator, sections) == 0);
static_assert(offsetof(SectionsBuildingOutputIterator, currentSection) == 8);
static_assert(sizeof(SectionsBuildingOutputIterator) == 16);
static_assert(std::output_iterator<SectionsBuildingOutputIterator, const String&>);

namespace {

constexpr char kFile[] = "Vorn/VornIniFile";
constexpr std::size_t kTextLimit = std::size_t{1} << 31;

// How the loader's buffer goes back, as it came: tools that watch the heap compare the two.
struct DeleteArray {
    static void destroy(char* buffer) noexcept { delete[] buffer; }
};

String textOf(std::string_view piece) {
    return String(piece.data(), static_cast<unsigned>(piece.size()));
}

// Processes lines for a builder. The entries of a section wait until all are seen, so that the
// section is looked up once and gets its room in one piece.
class LineHandler {
public:
    explicit LineHandler(SectionsBuildingOutputIterator& target) : builder(target) {}

    void operator()(const char* start, unsigned long size) {
        const std::string_view line = IniLines::trimmed({start, size});
        if (line.empty()) return;
        if (!IniLines::isHeader(line)) return waiting.push_back(line);
        finish();
        builder.currentSection = textOf(IniLines::headerName(line));
    }

    // Adds the entries that wait.
    void finish() {
        if (waiting.empty()) return;
        VornIniFile::Entries& entries = (*builder.sections)[builder.currentSection];
        if (entries.empty()) entries.reserve(waiting.size());
        for (const std::string_view line : waiting) entries.emplace_back(textOf(line), '=');
        waiting.clear();
    }

private:
    SectionsBuildingOutputIterator& builder;
    std::vector<std::string_view> waiting;
};

std::string_view bytes(const String& text) {
    return {text, text.size()};
}

template <class Emit>
void emitEntries(const VornIniFile::Entries& entries, Emit emit) {
    for (const AttribValuePair& entry : entries) {
        if (entry.getState() == AttribValuePair::kFieldsOnly)
            emit({bytes(entry.getAttrib()), "=", bytes(entry.getValue()), "\r\n"});
        else
            emit({bytes(entry.getLine()), "\r\n"});
    }
}

template <class List>
auto beginsWith(const String& prefix, List& section, bool caseSensitive) {
    const std::size_t n = std::strlen(prefix);
    return std::find_if(section.begin(), section.end(), [&](const AttribValuePair& entry) {
        const std::string_view attrib = entry.viewAttrib();
        return attrib.size() >= n &&
               IniLines::compareNames(attrib.data(), prefix, caseSensitive, n) == 0;
    });
}

void requireValid(bool valid, const char* message, int line = __builtin_LINE()) {
    if (!valid) throw Vorn::Exception::RuntimeError(message, kFile, line);
}

constexpr char kDereferenced[] = "Attempted to dereference invalid iterator";
constexpr char kManipulated[] = "Attempted to manipulate invalid iterator";
constexpr char kNotImplemented[] = "Not implemented yet!";

}  // namespace

bool VornIniFile_Private::StringLT_Fancy::operator()(const String& a,
                                                     const String& b) const noexcept {
    return IniLines::compareNames(a, b, caseSensitive, kTextLimit) < 0;
}

SectionsBuildingOutputIterator::SectionsBuildingOutputIterator(VornIniFile::Sections* target)
    : sections(target), currentSection(VornIniFile::kAnonymousSection()) {}

SectionsBuildingOutputIterator& SectionsBuildingOutputIterator::operator=(const String& line) {
    LineHandler handler(*this);
    handler(line, line.size());
    handler.finish();
    return *this;
}

VornIniFile::VornIniFile(const WString& path_, bool loadNow, bool caseSensitive_)
    : path(path_),
      caseSensitive(caseSensitive_),
      sections(VornIniFile_Private::StringLT_Fancy(caseSensitive_)) {
    if (loadNow) load(WString(), '\n');
}

VornIniFile::VornIniFile(bool caseSensitive_) : VornIniFile(WString(), false, caseSensitive_) {}

VornIniFile::~VornIniFile() = default;

const String& VornIniFile::kAnonymousSection() {
    // Never destroyed: a file may be saved by a destructor that runs at exit.
    static const String* const name = new String(textOf(IniLines::kAnonymous));
    return *name;
}

bool VornIniFile::getSectionNameCaseSensitivity() const {
    return caseSensitive;
}

bool VornIniFile::load(WString newPath, char delimiter) {
    usePath(newPath);
    if (path.empty()) return false;
    const Vorn::Ptr<iFile> file = OS()->fileServices()->openFile(path, 0, 0, 1, 0);
    if (!file) return false;
    const auto size = static_cast<unsigned>(file->size());
    if (size == 0) return false;
    std::unique_ptr<char[]> block(new (std::nothrow) char[size]);
    if (!block) return false;
    const Vorn::Ptr<char, DeleteArray> buffer(block.get());
    static_cast<void>(block.release());
    const unsigned length = file->read(buffer.get(), size);
    if (length == 0) return false;
    SectionsBuildingOutputIterator builder(&sections);
    LineHandler handler(builder);
    Vorn::StringManip::Private::forEachPiece(buffer.get(), length, delimiter, std::ref(handler));
    handler.finish();
    return true;
}

// Hands every text of the file to `emit`, as the pieces that it is made of.
template <class Emit>
void VornIniFile::forEachText(Emit emit) const {
    const auto anonymous = sections.find(kAnonymousSection());
    const String* previousName = nullptr;
    if (anonymous != sections.end()) {
        previousName = &anonymous->first;
        emitEntries(anonymous->second, emit);
    }
    for (auto section = sections.begin(); section != sections.end(); ++section) {
        if (section == anonymous) continue;
        if (previousName && !previousName->isEmpty()) emit({"\r\n"});
        previousName = &section->first;
        emit({"[", bytes(section->first), "]\r\n"});
        emitEntries(section->second, emit);
    }
}

bool VornIniFile::save(WString newPath) {
    using Pieces = std::initializer_list<std::string_view>;
    usePath(newPath);
    std::size_t longest = 0;
    forEachText([&](Pieces pieces) {
        std::size_t size = 0;
        for (const std::string_view piece : pieces) size += piece.size();
        longest = std::max(longest, size);
    });
    if (longest >= kTextLimit) throw std::bad_alloc();
    const std::unique_ptr<char[]> text(new char[longest]);

    const Vorn::Ptr<iFile> file = OS()->fileServices()->openFile(path, 1, 3, 0, 0);
    if (!file) return false;
    forEachText([&](Pieces pieces) {
        char* end = text.get();
        for (const std::string_view piece : pieces)
            end = std::copy(piece.begin(), piece.end(), end);
        file->write(text.get(), static_cast<unsigned>(end - text.get()));
    });
    return true;
}

void VornIniFile::usePath(WString& given) noexcept {
    if (!given.empty()) path.swap(given);
}

VornIniFile::Entries& VornIniFile::getSection(const String& name) {
    return sections[name];
}

const VornIniFile::Entries& VornIniFile::getSection(const String& name) const {
    static const Entries emptyOne;
    const auto section = sections.find(name);
    return section != sections.end() ? section->second : emptyOne;
}

VornIniFile::Entries& VornIniFile::operator[](const String& name) {
    return getSection(name);
}

const VornIniFile::Entries& VornIniFile::operator[](const String& name) const {
    return getSection(name);
}

unsigned VornIniFile::getNumSections() const {
    return static_cast<unsigned>(sections.size());
}

bool VornIniFile::sectionExists(const String& name) const {
    return sections.contains(name);
}

unsigned VornIniFile::removeSection(const String& name) {
    return static_cast<unsigned>(sections.erase(name));
}

VornIniFile::SectionIterator VornIniFile::getSectionIterator() {
    return {sections.begin(), sections.end()};
}

VornIniFile::ConstSectionIterator VornIniFile::getSectionIterator() const {
    return {sections.begin(), sections.end()};
}

VornIniFile::Entries::iterator VornIniFile::findBeginsWith(const String& prefix, Entries& section,
                                                           bool caseSensitive, Entries::iterator) {
    return beginsWith(prefix, section, caseSensitive);
}

VornIniFile::Entries::const_iterator VornIniFile::findBeginsWith(const String& prefix,
                                                                 const Entries& section,
                                                                 bool caseSensitive,
                                                                 Entries::const_iterator) {
    return beginsWith(prefix, section, caseSensitive);
}

VornIniFile::Entries::iterator VornIniFile::findContains(const String&, Entries&, bool,
                                                         Entries::iterator) {
    throw Vorn::Exception::LogicError(kNotImplemented, kFile, __LINE__);
}

VornIniFile::Entries::const_iterator VornIniFile::findContains(const String&, const Entries&, bool,
                                                               Entries::const_iterator) {
    throw Vorn::Exception::LogicError(kNotImplemented, kFile, __LINE__);
}

template <class Position, class List>
bool VornIniFile::BasicSectionIterator<Position, List>::valid() const {
    return current != end;
}

template <class Position, class List>
String VornIniFile::BasicSectionIterator<Position, List>::name() const {
    requireValid(valid(), kDereferenced);
    return current->first;
}

template <class Position, class List>
List& VornIniFile::BasicSectionIterator<Position, List>::operator*() const {
    requireValid(valid(), kDereferenced);
    return current->second;
}

template <class Position, class List>
VornIniFile::BasicSectionIterator<Position, List>&
VornIniFile::BasicSectionIterator<Position, List>::operator++() {
    requireValid(valid(), kManipulated);
    ++current;
    return *this;
}

template <class Position, class List>
VornIniFile::BasicSectionIterator<Position, List>
VornIniFile::BasicSectionIterator<Position, List>::operator++(int) {
    requireValid(valid(), kManipulated);
    const BasicSectionIterator before = *this;
    ++current;
    return before;
}

template class VornIniFile::BasicSectionIterator<VornIniFile::Sections::iterator,
                                                 VornIniFile::Entries>;
template class VornIniFile::BasicSectionIterator<VornIniFile::Sections::const_iterator,
                                                 const VornIniFile::Entries>;
