// Text and containers: the shared representation behind String.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>

#include "platform/Export.h"

/// Owns a text, decides its capacity and edits it in place. Positions and counts are in bytes, as
/// 32-bit numbers; a search that finds nothing returns 0xFFFFFFFF. Not copyable: `String` shares it
/// by its count.
///
/// Thread safety:
/// - The count changes only through `iAtomicServices`; whoever brings it to 0 destroys the object.
/// - Everything else is edited only by the one `String` that holds it alone.
///
/// Invariants:
/// 1. If there is a buffer, `buffer[length]` is 0 and `capacity` is at least `length` + 1.
/// 2. Without a buffer, which reads as "", `length` and `capacity` are 0.
/// 3. The text may contain zero bytes. `length` counts past them; searching and `unshare` stop at
///    the first.
/// 4. The capacity is exact (`length` + 1) for a text taken in one step, and `sizeFor(length)`
///    after any edit that grows it. Lengths stay below 2^31; a text that would reach that throws
///    `std::bad_alloc`.
///
/// If `String` builds the object from a text, both are in one block and `buffer` points into it. An
/// edit that needs another buffer leaves that room unused.
///
/// Sources may lie in the text that is edited: their bytes are taken as they were before the call.
/// Null sources read as empty text. An operation that cannot get memory changes nothing.
class VORN_EXPORT StringRep {
public:
    /// An empty text without a buffer. All constructors leave the count at 0.
    StringRep() noexcept;
    /// A copy of the `n` bytes at `s`, exactly sized.
    StringRep(const char* s, unsigned n);
    ~StringRep();
    StringRep(const StringRep&) = delete;
    StringRep& operator=(const StringRep&) = delete;
    /// The usual operators, but without a size when releasing: the block may be longer than the
    /// object.
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
    /// Frees the buffer, which leaves an empty text. The count stays.
    void purge() noexcept;
    /// Takes a copy of the zero-terminated `s`, exactly sized; for null, has no buffer.
    StringRep& operator=(const char* s);
    /// Becomes the single byte `c`.
    StringRep& operator=(char c);

    /// The smallest power of two above `n` < 2^31; `std::bad_alloc` for more.
    static unsigned sizeFor(unsigned n);
    /// Makes the capacity `sizeFor(n)`, which can be less than before; what no longer fits is cut.
    /// Returns true.
    bool resizeFor(unsigned n);
    /// A new block of `size` bytes. Copies as much as fits from `old`, a buffer of `capacity`
    /// bytes, and frees that. If `old` is null, the block is left unfilled.
    char* realloc(void* old, unsigned size);

    void append(const char* s, unsigned n);
    void append(const char* s);
    void append(char c);
    /// Pads with spaces to at least `n` bytes. Returns true.
    bool expandTo(unsigned n);
    /// Overwrites `n` bytes at `at` with those at `src + srcOffset`, extending the text if they
    /// reach past its end; a gap before `at` is filled with spaces.
    void replace(const char* src, unsigned n, unsigned srcOffset, unsigned at);
    /// Inserts the `n` bytes at `src + srcOffset` before `at`; a gap before `at` is filled with
    /// spaces.
    void insert(const char* src, unsigned n, unsigned srcOffset, unsigned at);
    /// Removes `n` bytes from `pos` on, or fewer if the text ends before.
    void remove(unsigned pos, unsigned n);
    /// Replaces every occurrence of `from`; inserted text is not searched again. An empty `from`
    /// occurs before every character.
    void substitute(const char* from, const char* to);
    /// Moves the first `n` mod `length` bytes to the end.
    void rotateLeft(unsigned n);
    /// Map every byte through libc under the current locale.
    void toUpper();
    void toLower();

    /// The position of the first `needle` at or after `from`.
    unsigned index(const char* needle, unsigned from) const;

    /// The representation to edit from now on. If this one has a single holder, that is this one.
    /// Otherwise it is a new copy of the text up to its first zero byte, with count 1, and the
    /// caller's count on this one is given up.
    StringRep* unshare() const;

    char* buffer;
    std::uint32_t length;
    std::uint32_t capacity;
    std::int32_t refCount;
    /// Whether the block has room for a text behind the object. Set by whoever makes it.
    bool hasRoom = false;

private:
    /// An object in one block with room for a text of `length` bytes, which the caller fills.
    static StringRep* withRoom(unsigned length, unsigned capacity);
    static StringRep* copyOf(const char* s, unsigned n);

    /// Appends if that needs no other block, and returns whether it did. Inline, because `String`
    /// appends in short steps.
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
