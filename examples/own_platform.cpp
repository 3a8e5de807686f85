// A platform of one's own: it counts allocations and hands everything on to the one that comes with
// the library. A platform from the ground up implements the interfaces in the same way.

#include <dlfcn.h>

#include <atomic>
#include <cstdio>
#include <new>

#include "Vorn/String.h"
#include "platform/platform.h"

namespace {

class CountingMemory final : public iMemoryServices {
public:
    explicit CountingMemory(iMemoryServices* services) : next(services) {}
    void* allocate(std::size_t bytes) override {
        ++allocations;
        return next->allocate(bytes);
    }
    void free(void* block) override { next->free(block); }
    std::size_t reclaim(std::size_t bytes) override { return next->reclaim(bytes); }
    void registerReclaimable(iReclaimable* object) override { next->registerReclaimable(object); }
    void unregisterReclaimable(iReclaimable* object) override {
        next->unregisterReclaimable(object);
    }

    std::atomic<unsigned> allocations{0};
    iMemoryServices* const next;
};

class CountingPlatform final : public iSystemServices {
public:
    explicit CountingPlatform(iSystemServices* services)
        : memory(services->memoryServices()), next(services) {}

    iMemoryServices* memoryServices() override { return &memory; }
    iTextServices* textServices() override { return next->textServices(); }
    iFileServices* fileServices() override { return next->fileServices(); }
    iThreadServices* threadServices() override { return next->threadServices(); }
    iAtomicServices* atomicServices() override { return next->atomicServices(); }
    iSystemInfo* systemInfo() override { return next->systemInfo(); }
    iPathServices* pathServices() override { return next->pathServices(); }

    CountingMemory memory;
    iSystemServices* const next;
};

// Made at the first call, without `new`, and never destroyed: it has to outlive everything.
CountingPlatform& platform() {
    alignas(CountingPlatform) static char storage[sizeof(CountingPlatform)];
    static CountingPlatform* const made = [] {
        const auto next = reinterpret_cast<iSystemServices* (*)()>(dlsym(RTLD_NEXT, "_Z2OSv"));
        return new (storage) CountingPlatform(next());
    }();
    return *made;
}

}  // namespace

// Stands in front of the platform library's own.
VORN_EXPORT iSystemServices* OS() {
    return &platform();
}

int main() {
    const auto counted = [](const char* what, auto action) {
        const unsigned before = platform().memory.allocations;
        action();
        const unsigned count = platform().memory.allocations - before;
        std::printf("%-34s %u allocations\n", what, count);
        return count;
    };
    String text, copy;
    const unsigned made = counted("a text is made", [&] { text = "Reel 7, take 2"; });
    const unsigned copied = counted("a copy shares it", [&] { copy = text; });
    const unsigned changed = counted("the copy is changed, and its own", [&] { copy[5] = '8'; });
    return made > 0 && copied == 0 && changed > 0 ? 0 : 1;
}
