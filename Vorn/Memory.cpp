#include "Vorn/Memory.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <new>

#include "platform/OS.h"
#include "platform/iMemoryServices.h"

namespace {

constexpr std::size_t kBlockAlignment = 16;
constexpr std::size_t kLinkBytes = sizeof(void*);

void* allocate(std::size_t bytes) {
    return OS()->memoryServices()->allocate(bytes);
}

template <class Allocation>
void* nullOnFailure(Allocation allocation) noexcept {
    try {
        return allocation();
    } catch (...) {
        return nullptr;
    }
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
    return alignInside(::operator new(paddedSize(size, alignment)), alignment);
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

VORN_EXPORT void* operator new(std::size_t size) {
    try {
        return allocate(size);
    } catch (const std::bad_alloc&) {
        throw;
    } catch (...) {
        std::terminate();
    }
}

VORN_EXPORT void* operator new[](std::size_t size) {
    return ::operator new(size);
}

VORN_EXPORT void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return nullOnFailure([=] { return allocate(size); });
}

VORN_EXPORT void* operator new[](std::size_t size, const std::nothrow_t& nothrow) noexcept {
    return ::operator new(size, nothrow);
}

VORN_EXPORT void* operator new(std::size_t size, std::align_val_t alignment) {
    return newAligned(size, usedAlignment(alignment));
}

VORN_EXPORT void* operator new[](std::size_t size, std::align_val_t alignment) {
    return ::operator new(size, alignment);
}

VORN_EXPORT void* operator new(std::size_t size, std::align_val_t alignment,
                               const std::nothrow_t&) noexcept {
    const std::size_t used = usedAlignment(alignment);
    // cppcheck-suppress throwInNoexceptFunction; caught there.
    return nullOnFailure([=] { return alignInside(allocate(paddedSize(size, used)), used); });
}

VORN_EXPORT void* operator new[](std::size_t size, std::align_val_t alignment,
                                 const std::nothrow_t& nothrow) noexcept {
    return ::operator new(size, alignment, nothrow);
}

VORN_EXPORT void operator delete(void* block) noexcept {
    OS()->memoryServices()->free(block);
}

VORN_EXPORT void operator delete[](void* block) noexcept {
    ::operator delete(block);
}

VORN_EXPORT void operator delete(void* block, std::size_t) noexcept {
    ::operator delete(block);
}

VORN_EXPORT void operator delete[](void* block, std::size_t) noexcept {
    ::operator delete(block);
}

VORN_EXPORT void operator delete(void* block, const std::nothrow_t&) noexcept {
    ::operator delete(block);
}

VORN_EXPORT void operator delete[](void* block, const std::nothrow_t&) noexcept {
    ::operator delete(block);
}

VORN_EXPORT void operator delete(void* block, std::align_val_t) noexcept {
    deleteAligned(block);
}

VORN_EXPORT void operator delete[](void* block, std::align_val_t) noexcept {
    deleteAligned(block);
}

VORN_EXPORT void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
    deleteAligned(block);
}

VORN_EXPORT void operator delete[](void* block, std::size_t, std::align_val_t) noexcept {
    deleteAligned(block);
}

VORN_EXPORT void operator delete(void* block, std::align_val_t, const std::nothrow_t&) noexcept {
    deleteAligned(block);
}

VORN_EXPORT void operator delete[](void* block, std::align_val_t, const std::nothrow_t&) noexcept {
    deleteAligned(block);
}
