#include "Vorn/AttribValuePair.h"

#include <cstddef>
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
    : state(kSynced), line(std::move(line_)) {
    const unsigned end = line.nthIndex(1, separator);
    if (end == kNotFound) return;
    attrib = String(line.textAt(0), end);
    value = String(line.textAt(end + 1), line.size() - end - 1);
}

AttribValuePair& AttribValuePair::operator=(const AttribValuePair& source) {
    if (source.state == kLineOnly) return *this = AttribValuePair(source.line, '=');
    if (source.state == kSynced) line = source.line;
    attrib = source.attrib;
    value = source.value;
    state = source.state;
    return *this;
}

String AttribValuePair::asString(char separator) const {
    return state == kFieldsOnly ? joined(attrib, separator, value) : line;
}

WString AttribValuePair::asWString(char separator) const {
    return WStringFromAscii(asString(separator));
}

bool AttribValuePair::valid() const {
    return state != kLineOnly && attrib.size() > 0 && value.size() > 0;
}

bool AttribValuePair::operator==(const AttribValuePair& other) const {
    const bool bothSynced = state == kSynced && other.state == kSynced;
    const bool fieldsCount = state == kFieldsOnly || other.state == kFieldsOnly || bothSynced;
    const bool linesCount = state == kLineOnly || other.state == kLineOnly || bothSynced;
    const bool fieldsEqual = fieldsCount && attrib == other.attrib && value == other.value;
    const bool linesEqual = linesCount && line == other.line;
    if (bothSynced) return fieldsEqual || linesEqual;
    return fieldsEqual == fieldsCount && linesEqual == linesCount;
}

void AttribValuePair::setAttrib(const String& text) {
    attrib = text;
    state = kFieldsOnly;
}

void AttribValuePair::setValue(const String& text) {
    value = text;
    state = kFieldsOnly;
}

void AttribValuePair::setLine(const String& text) {
    *this = AttribValuePair(text, '=');
    state = kLineOnly;
}

}  // namespace Vorn
