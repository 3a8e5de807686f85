#include "Vorn/AttribValuePair.h"

#include <cstddef>
#include <cstring>
#include <utility>

#include "Vorn/WStringUtils.h"

namespace Vorn {

struct AttribValuePairLayout {
    static_assert(offsetof(AttribValuePair, state) == 0);
    static_assert(offsetof(AttribValuePair, line) == 8);
    static_assert(offsetof(AttribValuePair, attrib) == 16);
    static_assert(offsetof(AttribValuePair, value) == 24);
    static_assert(sizeof(AttribValuePair) == 32);
};

namespace {

constexpr unsigned kNotFound = 0xFFFFFFFF;

String joined(const String& attrib, char separator, const String& value) {
    String line(attrib.textAt(0), attrib.size());
    line += separator;
    line += value;
    return line;
}

}  // namespace

AttribValuePair::AttribValuePair(const String& attrib_, const String& value_, char separator)
    : state(kSynced), line(joined(attrib_, separator, value_)), attrib(attrib_), value(value_) {}

AttribValuePair::AttribValuePair(const WString& attrib_, const WString& value_, char separator)
    : AttribValuePair(String(attrib_.c_str()), String(value_.c_str()), separator) {}

AttribValuePair::AttribValuePair(const String& line_, char separator)
    : AttribValuePair(String(line_), separator) {}

AttribValuePair::AttribValuePair(String&& line_, char separator)
    : state(kSynced), unsplit(true), splitAt(separator), line(std::move(line_)) {}

AttribValuePair& AttribValuePair::operator=(const AttribValuePair& source) {
    if (source.state != kFieldsOnly) line = source.line;
    unsplit = source.unsplit;
    splitAt = source.splitAt;
    attrib = source.attrib;
    value = source.value;
    state = source.state == kLineOnly ? kSynced : source.state;
    return *this;
}

void AttribValuePair::splitLine() const {
    const unsigned end = line.nthIndex(1, splitAt);
    if (end != kNotFound) {
        String before(line.textAt(0), end);
        String behind(line.textAt(end + 1), line.size() - end - 1);
        attrib = std::move(before);
        value = std::move(behind);
    }
    unsplit = false;
}

std::string_view AttribValuePair::viewAttrib() const {
    if (!unsplit) return {attrib, attrib.size()};
    const char* const start = line;
    const char* const end = std::strchr(start, splitAt);
    return {start, end ? static_cast<std::size_t>(end - start) : 0};
}

String AttribValuePair::asString(char separator) const {
    return state == kFieldsOnly ? joined(attrib, separator, value) : line;
}

WString AttribValuePair::asWString(char separator) const {
    return WStringFromAscii(asString(separator));
}

bool AttribValuePair::valid() const {
    return state != kLineOnly && getAttrib().size() > 0 && getValue().size() > 0;
}

bool AttribValuePair::operator==(const AttribValuePair& other) const {
    const bool bothSynced = state == kSynced && other.state == kSynced;
    const bool fieldsCount = state == kFieldsOnly || other.state == kFieldsOnly || bothSynced;
    const bool linesCount = state == kLineOnly || other.state == kLineOnly || bothSynced;
    const bool linesEqual = linesCount && line == other.line;
    if (bothSynced && linesEqual) return true;
    const bool fieldsEqual =
        fieldsCount && getAttrib() == other.getAttrib() && getValue() == other.getValue();
    if (bothSynced) return fieldsEqual;
    return fieldsEqual == fieldsCount && linesEqual == linesCount;
}

void AttribValuePair::setAttrib(const String& text) {
    split();
    attrib = text;
    state = kFieldsOnly;
}

void AttribValuePair::setValue(const String& text) {
    split();
    value = text;
    state = kFieldsOnly;
}

void AttribValuePair::setLine(const String& text) {
    *this = AttribValuePair(text, '=');
    state = kLineOnly;
}

}  // namespace Vorn
