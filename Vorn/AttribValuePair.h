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
/// its parts were changed. Lines without a separator, such as comments, have empty parts. Nothing
/// is trimmed. The separator is not part of the value.
///
/// The line is split when a part is first asked for, so a file whose entries are only loaded, found
/// and saved costs no more than its lines. Reading a part may therefore allocate, and only one
/// thread at a time may use a pair, even to read it.
///
/// A plain value. The only failure is `std::bad_alloc`; the pair then keeps its value.
class VORN_EXPORT AttribValuePair {
public:
    enum State : std::int32_t {
        kSynced = 0,     ///< Line and parts are current; the line is the text to write.
        kLineOnly = 1,   ///< The line is the text to write.
        kFieldsOnly = 2  ///< The parts are the text to write; the line is stale.
    };

    /// All constructors leave the state `kSynced`. The line is the parts with a separator between.
    AttribValuePair(const String& attrib, const String& value, char separator);
    /// The parts are the UTF-8 encodings, up to their first zero byte.
    AttribValuePair(const WString& attrib, const WString& value, char separator);
    /// Splits `line` at the first `separator` before any zero byte. The separator is not 0.
    AttribValuePair(const String& line, char separator);
    AttribValuePair(String&& line, char separator);
    AttribValuePair(const AttribValuePair& other) = default;
    AttribValuePair(AttribValuePair&& other) noexcept = default;
    ~AttribValuePair() = default;
    /// If `source` is `kLineOnly`, splits its line at "=" and becomes `kSynced`. If `kFieldsOnly`,
    /// copies only the parts; if `kSynced`, everything.
    AttribValuePair& operator=(const AttribValuePair& source);

    /// The text to write: the line, or in `kFieldsOnly` the parts with `separator` between them.
    String asString(char separator) const;
    /// The same, widened byte by byte.
    WString asWString(char separator) const;
    /// Whether both parts are current and neither has size 0.
    bool valid() const;
    /// Compares what is current in both pairs. Two synced pairs are equal if their parts or their
    /// lines are; so any two lines without a separator are equal.
    bool operator==(const AttribValuePair& other) const;

    State getState() const { return state; }
    /// The references are valid until the pair is changed. The line is stale in `kFieldsOnly`.
    const String& getLine() const { return line; }
    const String& getAttrib() const {
        split();
        return attrib;
    }
    const String& getValue() const {
        split();
        return value;
    }
    /// The bytes of the attribute, which lie in the line if that has not been split yet. Allocates
    /// nothing. The view is valid until the pair is changed or a part of it is asked for.
    std::string_view viewAttrib() const;
    /// Change one part; the state is then `kFieldsOnly`.
    void setAttrib(const String& text);
    void setValue(const String& text);
    /// Changes the line, and splits it at "=" into the parts; the state is then `kLineOnly`.
    void setLine(const String& text);

private:
    void split() const {
        if (unsplit) splitLine();
    }
    void splitLine() const;

    State state;
    mutable bool unsplit = false;  // The line has not been split into the parts yet.
    char splitAt = '=';
    String line;
    mutable String attrib;
    mutable String value;
    friend struct AttribValuePairLayout;
};

}  // namespace Vorn
