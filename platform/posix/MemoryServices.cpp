#ifdef VORN_USE_MIMALLOC
#include <mimalloc.h>
#endif

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <mutex>
#include <new>
#include <vector>

#include "platform/posix/Services.h"

namespace posix {
namespace {

#ifdef VORN_USE_MIMALLOC
// A host that loaded the C++ runtime before this library releases blocks here that come from the C
// library, so each block has to tell whose it is. (Nothing helps the other way round: such a host
// is to be linked with the library, or to use a platform that allocates from the C library.)
// mimalloc recognises its own only in the lower part of the address space, of which 16 TiB are
// common to its versions. Blocks over 1 GiB do not lie there, nor do others after some terabytes of
// use: such a block goes back at once, and the C library is asked instead.
void* obtain(std::size_t bytes) {
    constexpr std::uintptr_t recognised = std::uintptr_t{16} << 40;
    void* const block = mi_malloc(bytes);
    if (reinterpret_cast<std::uintptr_t>(block) < recognised) return block;
    mi_free(block);
    return std::malloc(bytes);
}

void release(void* block) {
    mi_is_in_heap_region(block) ? mi_free(block) : std::free(block);
}
#else
void* obtain(std::size_t bytes) {
    return std::malloc(bytes);
}

void release(void* block) {
    std::free(block);
}
#endif

template <class T>
struct Allocator {
    using value_type = T;

    T* allocate(std::size_t n) { return static_cast<T*>(memoryServices->allocate(n * sizeof(T))); }
    void deallocate(T* block, std::size_t) noexcept { release(block); }
    bool operator==(const Allocator&) const = default;
};

class MemoryServices final : public iMemoryServices {
public:
    void* allocate(std::size_t bytes) override {
        void* const block = obtain(std::max(bytes, std::size_t{1}));
        if (!block) throw std::bad_alloc();
        return block;
    }
    void free(void* block) override { release(block); }

    std::size_t reclaim(std::size_t bytes) override;
    void registerReclaimable(iReclaimable* object) override {
        const std::lock_guard guard(lock);
        registered.push_back({object, ++lastNumber});
    }
    void unregisterReclaimable(iReclaimable* object) override;

private:
    struct Registration {
        iReclaimable* object;
        std::uint64_t number;
    };

    std::uint64_t newest() {
        const std::lock_guard guard(lock);
        return lastNumber;
    }
    Registration firstAfter(std::uint64_t number);

    WordLock lock;
    std::uint64_t lastNumber = 0;
    std::vector<Registration, Allocator<Registration>> registered;  // By number.
};

// Asks the objects in order of registration until enough was given back. The lock is not held while
// an object is at work: it may release memory, and register and withdraw others. What is registered
// meanwhile may still be under construction and is not asked.
std::size_t MemoryServices::reclaim(std::size_t bytes) {
    const std::uint64_t last = newest();
    std::size_t total = 0;
    for (std::uint64_t number = 0; total < bytes;) {
        const Registration next = firstAfter(number);
        if (!next.object || next.number > last) break;
        total += next.object->reclaim(bytes - total);
        number = next.number;
    }
    return total;
}

MemoryServices::Registration MemoryServices::firstAfter(std::uint64_t number) {
    const std::lock_guard guard(lock);
    const auto next = std::upper_bound(
        registered.begin(), registered.end(), number,
        [](std::uint64_t passed, const Registration& other) { return passed < other.number; });
    return next == registered.end() ? Registration{} : *next;
}

void MemoryServices::unregisterReclaimable(iReclaimable* object) {
    const std::lock_guard guard(lock);
    const auto found = std::find_if(registered.begin(), registered.end(),
                                    [=](const Registration& r) { return r.object == object; });
    if (found != registered.end()) registered.erase(found);
}

constexpr NeverDestroyed<MemoryServices> services;

}  // namespace

iMemoryServices* const memoryServices = &services.object;

}  // namespace posix
