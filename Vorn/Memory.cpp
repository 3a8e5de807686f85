#include "Vorn/Memory.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <new>
#include <utility>

#include "platform/OS.h"
#include "platform/iMemoryServices.h"

namespace {

constexpr std::size_t kBlockAlignment = 16;
constexpr std::size_t kLinkBytes = sizeof(void*);

void* allocate(std::size_t bytes) {
    return OS()->memoryServices()->allocate(bytes);
}

// Whether a nothrow form is asking the plain one on this thread: any exception then ends there
// instead of ending the process. In the static block, so that reaching it allocates nothing.
[[gnu::tls_model("initial-exec")]] constinit thread_local bool failureIsNull = false;

template <class Allocation>
void* nullOnFailure(Allocation allocation) noexcept {
    const bool before = std::exchange(failureIsNull, true);
    void* block = nullptr;
    try {
        block = allocation();
    } catch (...) {
    }
    failureIsNull = before;
    return block;
}

// An aligned block lies inside a plain one, with the plain one's address in the word below it.
// Twice the alignment always leaves room for that word.
std::size_t paddedSize(std::size_t size, std::size_t alignment) {
    constexpr std::size_t limit = SIZE_MAX / 4;
    if (alignment > limit || size > SIZE_MAX - 2 * alignment) throw std::bad_alloc();
    return size + 2 * alignment;
}

void* alignInside(void* block, std::size_t alignment) {
    if (!block) return nullptr;
    std::size_t offset = -reinterpret_cast<std::uintptr_t>(block) & (alignment - 1);
    if (offset < kLinkBytes) offset += alignment;
    char* const aligned = static_cast<char*>(block) + offset;
    reinterpret_cast<void**>(aligned)[-1] = block;
    return aligned;
}

void* enclosingBlock(void* aligned) {
    return static_cast<void**>(aligned)[-1];
}

std::size_t usedAlignment(std::align_val_t alignment) {
    return std::max(static_cast<std::size_t>(alignment), kBlockAlignment);
}

void* newAligned(std::size_t size, std::size_t alignment) {
    // Volatile, since compilers take for granted that it is not null, which a platform may answer.
    void* volatile const block = ::operator new(paddedSize(size, alignment));
    return alignInside(block, alignment);
}

void deleteAligned(void* block) noexcept {
    if (block) ::operator delete(enclosingBlock(block));
}

}  // namespace

void* CPUAlignedNew(unsigned long size) {
    return newAligned(size, kBlockAlignment);
}

void CPUAlignedDelete(void* block) noexcept {
    deleteAligned(block);
}

VORN_REPLACEABLE void* operator new(std::size_t size) {
    try {
        return allocate(size);
    } catch (const std::bad_alloc&) {
        throw;
    } catch (...) {
        if (failureIsNull) throw;
        std::terminate();
    }
}

VORN_REPLACEABLE void* operator new[](std::size_t size) {
    return ::operator new(size);
}

VORN_REPLACEABLE void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    // cppcheck-suppress throwInNoexceptFunction; caught there, here and below.
    return nullOnFailure([=] { return ::operator new(size); });
}

VORN_REPLACEABLE void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    // cppcheck-suppress throwInNoexceptFunction
    return nullOnFailure([=] { return ::operator new[](size); });
}

VORN_REPLACEABLE void* operator new(std::size_t size, std::align_val_t alignment) {
    return newAligned(size, usedAlignment(alignment));
}

VORN_REPLACEABLE void* operator new[](std::size_t size, std::align_val_t alignment) {
    return ::operator new(size, alignment);
}

VORN_REPLACEABLE void* operator new(std::size_t size, std::align_val_t alignment,
                                    const std::nothrow_t&) noexcept {
    // cppcheck-suppress throwInNoexceptFunction
    return nullOnFailure([=] { return ::operator new(size, alignment); });
}

VORN_REPLACEABLE void* operator new[](std::size_t size, std::align_val_t alignment,
                                      const std::nothrow_t&) noexcept {
    // cppcheck-suppress throwInNoexceptFunction
    return nullOnFailure([=] { return ::operator new[](size, alignment); });
}

VORN_REPLACEABLE void operator delete(void* block) noexcept {
    OS()->memoryServices()->free(block);
}

VORN_REPLACEABLE void operator delete[](void* block) noexcept {
    ::operator delete(block);
}

VORN_REPLACEABLE void operator delete(void* block, std::size_t) noexcept {
    ::operator delete(block);
}

VORN_REPLACEABLE void operator delete[](void* block, std::size_t) noexcept {
    ::operator delete[](block);
}

VORN_REPLACEABLE void operator delete(void* block, const std::nothrow_t&) noexcept {
    ::operator delete(block);
}

VORN_REPLACEABLE void operator delete[](void* block, const std::nothrow_t&) noexcept {
    ::operator delete[](block);
}

VORN_REPLACEABLE void operator delete(void* block, std::align_val_t) noexcept {
    deleteAligned(block);
}

VORN_REPLACEABLE void operator delete[](void* block, std::align_val_t alignment) noexcept {
    ::operator delete(block, alignment);
}

VORN_REPLACEABLE void operator delete(void* block, std::size_t,
                                      std::align_val_t alignment) noexcept {
    ::operator delete(block, alignment);
}

VORN_REPLACEABLE void operator delete[](void* block, std::size_t,
                                        std::align_val_t alignment) noexcept {
    ::operator delete[](block, alignment);
}

VORN_REPLACEABLE void operator delete(void* block, std::align_val_t alignment,
                                      const std::nothrow_t&) noexcept {
    ::operator delete(block, alignment);
}

VORN_REPLACEABLE void operator delete[](void* block, std::align_val_t alignment,
                                        const std::nothrow_t&) noexcept {
    ::operator delete[](block, alignment);
}
