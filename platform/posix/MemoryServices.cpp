#include <algorithm>
#include <cstdint>
#include <mutex>
#include <new>
#include <vector>

#include "platform/posix/Allocator.h"
#include "platform/posix/Services.h"

namespace posix {
namespace {

template <class T>
struct StandardAllocator {
    using value_type = T;

    T* allocate(std::size_t n) { return static_cast<T*>(memoryServices->allocate(n * sizeof(T))); }
    void deallocate(T* block, std::size_t) noexcept { allocator().free(block); }
    bool operator==(const StandardAllocator&) const = default;
};

class MemoryServices final : public iMemoryServices {
public:
    void* allocate(std::size_t bytes) override {
        void* const block = allocator().allocate(std::max(bytes, std::size_t{1}));
        if (!block) throw std::bad_alloc();
        return block;
    }
    void free(void* block) override { allocator().free(block); }

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
    std::vector<Registration, StandardAllocator<Registration>> registered;  // By number.
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
