// Handles that share an object, and a lock that its holder can enter again.
//
// Usage: handles_and_locks

#include <cstdio>
#include <thread>

#include "Vorn/CriticalSection.h"
#include "Vorn/Exception.h"
#include "Vorn/Ptr.h"

namespace {

class Reel {
public:
    ~Reel() { std::printf("the last handle went: %u frames\n", frames); }

    void addFrame() {
        const EasyCrit guard(lock);
        ++frames;
    }
    // Enters the lock a second time for each frame.
    void addFrames(unsigned count) {
        const EasyCrit guard(lock);
        for (unsigned i = 0; i < count; ++i) addFrame();
    }
    unsigned size() {
        const EasyCrit guard(lock);
        return frames;
    }
    bool isFree() { return lock.owner() == 0; }

private:
    CriticalSection lock{"reel"};
    unsigned frames = 0;
};

// Each thread is given a handle of its own; the reel lives as long as any of them.
void record(const Vorn::Ptr<Reel>& reel) {
    for (int i = 0; i < 1000; ++i) reel->addFrames(3);
}

}  // namespace

int main() {
    const Vorn::Ptr<Reel> reel(new Reel);
    std::thread recorders[4];
    for (std::thread& recorder : recorders) recorder = std::thread(record, reel);
    for (std::thread& recorder : recorders) recorder.join();
    const bool complete = reel->size() == 12000 && reel->isFree();

    try {
        throw Vorn::Exception::RuntimeError("The tape is full", "examples/handles_and_locks",
                                            __LINE__);
    } catch (const Vorn::Exception::Base& failure) {
        std::printf("%s from %s: %s\n", failure.what(), failure.file(), failure.msg());
    }
    return complete ? 0 : 1;
}
