// A client that replaces some of the global allocation operators, as the standard allows, and sees
// whether every other form reaches them: built once for each choice. Ends with 0 if all did.

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "Vorn/Vorn.h"

namespace {

std::atomic<long> taken = 0;
std::atomic<long> released = 0;

// Not a block that anything else could release: it starts a little behind what `malloc` gave.
constexpr std::size_t kOffset = 64;

// Not inlined: compilers would hold what `new` and `delete` do against each other.
[[gnu::noinline, maybe_unused]] void* take(std::size_t size) {
    ++taken;
    char* const block = static_cast<char*>(std::malloc(size + kOffset));
    return block + kOffset;
}

[[gnu::noinline, maybe_unused]] void giveBack(void* block) {
    if (!block) return;
    ++released;
    std::free(static_cast<char*>(block) - kOffset);
}

bool failed = false;

// Whatever `use` allocates, once or more often, comes through this client's operators and goes
// there.
template <class Use>
void expectBalance(const char* what, Use use) {
    const long takenBefore = taken;
    const long releasedBefore = released;
    use();
    const long newCalls = taken - takenBefore;
    const long deleteCalls = released - releasedBefore;
    if (newCalls > 0 && newCalls == deleteCalls) return;
    std::fprintf(stderr, "%s: %ld calls of new, %ld of delete\n", what, newCalls, deleteCalls);
    failed = true;
}

// Through pointers, since compilers leave out pairs of calls that they can see.
template <class... Arguments>
void expectForms(const char* form, Arguments... arguments) {
#ifndef REPLACES_ARRAYS
    void* (*volatile const make)(std::size_t, Arguments...) = &::operator new;
    void (*volatile const destroy)(void*, Arguments...) = &::operator delete;
    expectBalance(form, [&] { destroy(make(100, arguments...), arguments...); });
#endif
    void* (*volatile const makeArray)(std::size_t, Arguments...) = &::operator new[];
    void (*volatile const destroyArray)(void*, Arguments...) = &::operator delete[];
    expectBalance(form, [&] { destroyArray(makeArray(100, arguments...), arguments...); });
}

}  // namespace

#if defined(REPLACES_PLAIN)
void* operator new(std::size_t size) {
    return take(size);
}
void operator delete(void* block) noexcept {
    giveBack(block);
}
#elif defined(REPLACES_ARRAYS)
void* operator new[](std::size_t size) {
    return take(size);
}
void operator delete[](void* block) noexcept {
    giveBack(block);
}
#elif defined(REPLACES_ALIGNED)
void* operator new(std::size_t size, std::align_val_t) {
    return take(size);
}
void operator delete(void* block, std::align_val_t) noexcept {
    giveBack(block);
}
#endif

int main() {
#ifndef REPLACES_ALIGNED
    expectForms("plain");
    expectForms<const std::nothrow_t&>("nothrow", std::nothrow);
#endif
#ifndef REPLACES_ARRAYS
    expectForms("aligned", std::align_val_t(64));
#ifdef __cpp_sized_deallocation
    void (*volatile const sized)(void*, std::size_t, std::align_val_t) = &::operator delete;
    expectBalance("aligned, sized", [&] {
        sized(::operator new(100, std::align_val_t(64)), 100, std::align_val_t(64));
    });
#endif
    expectForms<std::align_val_t, const std::nothrow_t&>("aligned, nothrow", std::align_val_t(64),
                                                         std::nothrow);
#endif
#ifdef REPLACES_PLAIN
    expectBalance("CPUAlignedNew", [] { CPUAlignedDelete(CPUAlignedNew(100)); });
    expectBalance("String", [] { const String text("made by the library"); });
#endif
    return failed ? 1 : 0;
}
