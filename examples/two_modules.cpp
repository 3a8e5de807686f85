// Two modules share an object and its lock, and know nothing of each other but a type and a name.
//
// Usage: two_modules FIRST-MODULE SECOND-MODULE
//
// The host and both modules are built from this file. The host opens the modules and calls
// `produce` in the first and `consume` in the second, each on a thread of its own.

#include <dlfcn.h>

#include <chrono>
#include <cstdio>
#include <thread>

#include "Vorn/String.h"
#include "Vorn/VornNamedObjects.h"

struct Clip {
    String title;
    unsigned frames;
};

namespace {

constexpr char kName[] = "current clip";
constexpr unsigned kFrames = 250;

Vorn::NamedObjectsNamespace& registry() {
    return *Vorn::NamedObjectsNamespace::getGlobalNamespaceInstance();
}

void wait(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

}  // namespace

// Registers a clip while it holds the key, and completes it before it gives the key up.
extern "C" VORN_EXPORT bool produce() {
    registry().lock<Clip>(kName);
    Clip* const clip = new Clip{"Intro", 0};
    registry().create(kName, clip);
    std::printf("first module:   registers a Clip \"%s\" at %p and holds it\n", kName,
                static_cast<void*>(clip));
    wait(100);
    clip->frames = kFrames;
    std::printf("first module:   completes it and lets go\n");
    registry().unlock<Clip>(kName);
    return true;
}

// Waits for the key, uses the clip of the other module and frees it.
extern "C" VORN_EXPORT bool consume() {
    if (!registry().lock<Clip>(kName, false)) {
        std::printf("second module:  waits for \"%s\"\n", kName);
        registry().lock<Clip>(kName);
    }
    Clip* const clip = registry().find<Clip>(kName);
    registry().remove<Clip>(kName);
    registry().unlock<Clip>(kName);
    if (!clip) return false;
    std::printf("second module:  finds the Clip at %p, \"%s\" with %u frames, and frees it\n",
                static_cast<void*>(clip), static_cast<const char*>(clip->title), clip->frames);
    const bool complete = clip->frames == kFrames;
    delete clip;
    return complete;
}

int main(int argc, char** argv) {
    void* const first = argc == 3 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : nullptr;
    void* const second = argc == 3 ? dlopen(argv[2], RTLD_NOW | RTLD_LOCAL) : nullptr;
    if (!first || !second) return std::fprintf(stderr, "two_modules: needs two modules\n"), 1;
    using Step = bool (*)();
    const auto producing = reinterpret_cast<Step>(dlsym(first, "produce"));
    const auto consuming = reinterpret_cast<Step>(dlsym(second, "consume"));

    const std::jthread producer(producing);
    wait(50);
    return consuming() ? 0 : 1;
}
