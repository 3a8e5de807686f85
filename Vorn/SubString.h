// Text and containers: the read-only view of a range of a String.
#pragma once

#include <cstdint>
#include <string_view>

#include "Vorn/String.h"
#include "platform/Export.h"

/// The range behind one or more views, and a share of the text that it lies in. Positions and sizes
/// are in bytes. After construction the range lies inside the text, or both numbers are 0.
class VORN_EXPORT SubStringRep {
public:
    /// The count starts at 0.
    explicit SubStringRep(const String& s) noexcept;
    SubStringRep(const String& s, unsigned index) noexcept;
    SubStringRep(const String& s, unsigned index, unsigned count) noexcept;
    SubStringRep(const SubStringRep&) = delete;
    SubStringRep& operator=(const SubStringRep&) = delete;

    /// Cuts the range at the end of the text; a range that starts there becomes 0, 0.
    void clip() noexcept;
    void clear() noexcept;

    String string;
    std::uint32_t index;
    std::uint32_t size;
    std::uint32_t refCount;
};

/// A view of a range of a `String`. It keeps the text as it was when the view was made, whatever
/// happens to the string. Assigning a `String` moves the view; it never writes text. Copies share
/// one range, whose count is not atomic: views that were copied from one another belong to one
/// thread. Only making a view can fail, with `std::bad_alloc`.
class VORN_EXPORT SubString {
public:
    explicit SubString(const String& s);
    SubString(const String& s, unsigned index);
    /// `count` bytes from `index`, clipped to the text.
    SubString(const String& s, unsigned index, unsigned count);
    SubString(const SubString& other) noexcept;
    ~SubString();
    SubString& operator=(const SubString& other) noexcept;
    /// Moves the view to the whole of `s`.
    SubString& operator=(const String& s);

    unsigned index() const noexcept;
    unsigned size() const noexcept;
    /// The bytes of the range, valid until this view changes.
    std::string_view view() const noexcept {
        return rep ? rep->string.view().substr(rep->index, rep->size) : std::string_view();
    }
    /// Whether the two ranges hold equal bytes up to the first zero byte that both have.
    bool operator==(const SubString& other) const noexcept;
    /// Releases the range, which leaves an empty view.
    void purge() noexcept;

private:
    SubStringRep* rep;
    friend class String;
};
