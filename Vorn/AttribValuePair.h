// Configuration files: one entry of a section.
#pragma once

#include <cstdint>
#include <string_view>

#include "Vorn/String.h"
#include "Vorn/WString.h"
#include "platform/Export.h"

namespace Vorn {

/// A line of the form attribute, separator, value, kept as the line and as its two parts. The state
/// says which of them is current, so that a line from a file is written back as it was read unless
/// its parts were changed. Lines without separator, such as comments, have empty parts. Nothing is
/// trimmed. The separator is not part of the value.
///
/// A line is taken apart when a part is first asked for, so that a file whose entries are only
/// loaded, found and saved costs no more than its lines. Reading a part may therefore allocate, and
/// one pair is used by one thread at a time, also where it is only read.
///
/// A plain value; `std::bad_alloc` is the only failure, and the pair then keeps its value.
class VORN_EXPORT AttribValuePair {
public:
    enum State : std::int32_t {
        kSynced = 0,     ///< Line and parts hold; the line is the text to write.
        kLineOnly = 1,   ///< The line is the text to write.
        kFieldsOnly = 2  ///< The parts are the text to write; the line is stale.
    };

    /// All constructors leave `kSynced`. The line is the parts with one separator between them.
    AttribValuePair(const String& attrib, const String& value, char separator);
    /// The parts are the UTF-8 encodings, up to their first zero byte.
    AttribValuePair(const WString& attrib, const WString& value, char separator);
    /// Splits `line` at the first `separator`, not 0, before any zero byte.
    AttribValuePair(const String& line, char separator);
    AttribValuePair(String&& line, char separator);
    AttribValuePair(const AttribValuePair& other) = default;
    AttribValuePair(AttribValuePair&& other) noexcept = default;
    ~AttribValuePair() = default;
    /// From `kLineOnly`, splits the line at "=" and leaves `kSynced`; from `kFieldsOnly`, takes the
    /// parts alone; from `kSynced`, takes everything.
    AttribValuePair& operator=(const AttribValuePair& source);

    /// The text to write: the line, or in `kFieldsOnly` the parts with `separator` between them.
    String asString(char separator) const;
    /// The same, widened byte by byte.
    WString asWString(char separator) const;
    /// Whether both parts hold and neither has size 0.
    bool valid() const;
    /// Equal in all that holds in both; two synced pairs are equal if their parts or their lines
    /// are, hence any two lines without separator.
    bool operator==(const AttribValuePair& other) const;

    State getState() const { return state; }
    /// The texts hold until the pair is changed; the line is stale in `kFieldsOnly`.
    const String& getLine() const { return line; }
    const String& getAttrib() const {
        split();
        return attrib;
    }
    const String& getValue() const {
        split();
        return value;
    }
    /// The bytes of the attribute, in the line if that is not taken apart yet. Allocates nothing;
    /// the view holds until the pair is changed or a part of it is asked for.
    std::string_view viewAttrib() const;
    /// Change one part and leave `kFieldsOnly`.
    void setAttrib(const String& text);
    void setValue(const String& text);
    /// Changes the line, and the parts by splitting it at "="; leaves `kLineOnly`.
    void setLine(const String& text);

private:
    void split() const {
        if (unsplit) splitLine();
    }
    void splitLine() const;

    State state;
    mutable bool unsplit = false;  // The parts are still to be taken from the line.
    char splitAt = '=';
    String line;
    mutable String attrib;
    mutable String value;
    friend struct AttribValuePairLayout;
};

}  // namespace Vorn
