// Text and containers: the shared representation behind String.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>

#include "platform/Export.h"

/// Owns a text, decides its capacity and edits it in place. Positions and counts are bytes, in 32
/// bits; a search that finds nothing returns 0xFFFFFFFF. Not copied as an object: `String` shares
/// it by its count.
///
/// Thread safety:
/// - The count changes only through `iAtomicServices`; whoever brings it to 0 destroys the object.
/// - Everything else is edited only by the one `String` that holds it alone.
///
/// Invariants:
/// 1. Where there is a buffer, `buffer[length]` is 0 and `capacity` is at least `length` + 1.
/// 2. Without a buffer, which reads as "", `length` and `capacity` are 0.
/// 3. The text may hold zero bytes. `length` counts what follows them; searching and `unshare` end
///    at the first.
/// 4. Capacities are exact (`length` + 1) for a text taken in one step and `sizeFor(length)` after
///    any growing edit. Lengths stay below 2^31; a text that would reach that throws
///    `std::bad_alloc`.
///
/// What `String` builds from a text lies in one block with it, which `buffer` then leads into; an
/// edit that needs another buffer leaves that place unused.
///
/// Sources may lie in the text that is edited: their bytes are taken as they were before the call.
/// Null sources read as empty text. An operation that cannot get memory changes nothing.
class VORN_EXPORT StringRep {
public:
    /// An empty text without buffer. All constructors leave the count at 0.
    StringRep() noexcept;
    /// A copy of the `n` bytes at `s`, exactly sized.
    StringRep(const char* s, unsigned n);
    ~StringRep();
    StringRep(const StringRep&) = delete;
    StringRep& operator=(const StringRep&) = delete;
    /// As everywhere, but releasing asks for no size: the block may be longer than the object.
    static void* operator new(std::size_t size) { return ::operator new(size); }
    static void* operator new(std::size_t size, const std::nothrow_t& form) noexcept {
        return ::operator new(size, form);
    }
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    static void operator delete(void* block) noexcept { ::operator delete(block); }
    static void operator delete(void* block, const std::nothrow_t&) noexcept {
        ::operator delete(block);
    }
    static void operator delete(void*, void*) noexcept {}

    /// Sets every field to zero without freeing anything.
    void init() noexcept;
    /// Frees the buffer; the text is empty then. The count stays.
    void purge() noexcept;
    /// Takes a copy of the zero-terminated `s`, exactly sized; no buffer for null.
    StringRep& operator=(const char* s);
    /// Becomes the single byte `c`.
    StringRep& operator=(char c);

    /// The smallest power of two above `n` < 2^31; `std::bad_alloc` for more.
    static unsigned sizeFor(unsigned n);
    /// Makes the capacity `sizeFor(n)`, which can be less than it was; what no longer fits is cut.
    /// True.
    bool resizeFor(unsigned n);
    /// A new block of `size` bytes; takes as much as fits from `old`, a buffer of `capacity` bytes,
    /// and frees that. Null `old`: the block comes unfilled.
    char* realloc(void* old, unsigned size);

    void append(const char* s, unsigned n);
    void append(const char* s);
    void append(char c);
    /// Pads with spaces to `n` bytes. Returns whether the text has `n` bytes or more: true.
    bool expandTo(unsigned n);
    /// Overwrites `n` bytes at `at` with those at `src + srcOffset`, extending the text where they
    /// reach past its end; a gap before `at` is filled with spaces.
    void replace(const char* src, unsigned n, unsigned srcOffset, unsigned at);
    /// Inserts the `n` bytes at `src + srcOffset` before `at`; a gap before `at` is filled with
    /// spaces.
    void insert(const char* src, unsigned n, unsigned srcOffset, unsigned at);
    /// Removes the `n` bytes from `pos`, or what there is of them.
    void remove(unsigned pos, unsigned n);
    /// Replaces every occurrence of `from`; inserted text is not searched again. An empty `from`
    /// stands before every character.
    void substitute(const char* from, const char* to);
    /// Moves the first `n` mod `length` bytes to the end.
    void rotateLeft(unsigned n);
    /// Map every byte through libc under the current locale.
    void toUpper();
    void toLower();

    /// The position of the first `needle` at or after `from`.
    unsigned index(const char* needle, unsigned from) const;

    /// The representation to edit from now on: this one if it has one holder; otherwise a new copy
    /// with count 1 of the text up to its first zero byte, for which the caller gives up its count
    /// here.
    StringRep* unshare() const;

    char* buffer;
    std::uint32_t length;
    std::uint32_t capacity;
    std::int32_t refCount;
    /// Whether there is room for a text behind the object, in the same block. Set by who makes it.
    bool hasRoom = false;

private:
    /// In one block with room for a text of `length` bytes, which is the caller's to fill.
    static StringRep* withRoom(unsigned length, unsigned capacity);
    static StringRep* copyOf(const char* s, unsigned n);

    /// Appends where that leaves the block as it is, and returns whether it does. Inline, since
    /// `String` appends in short steps.
    bool appendInPlace(const char* s, unsigned n) {
        const std::uint64_t grown = std::uint64_t{length} + n;
        if (std::bit_ceil(grown + 1) != capacity) return false;
        std::memmove(buffer + length, s, n);
        length = static_cast<unsigned>(grown);
        buffer[length] = 0;
        return true;
    }
    void edit(unsigned at, unsigned removed, const char* src, unsigned n, unsigned size);
    void take(char* text, unsigned newLength, unsigned size) noexcept;
    void release(char* text) noexcept;
    friend class String;
};
