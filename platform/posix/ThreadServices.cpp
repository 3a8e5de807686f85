#include <atomic>

#include "platform/posix/Services.h"

namespace posix {

// `wait` itself looks again for a moment before it puts the thread to sleep. Whoever gets the lock
// here cannot know whether others still wait, so it stays marked.
void WordLock::lockContended() noexcept {
    while (state.exchange(kAwaited, std::memory_order_acquire) != kFree)
        state.wait(kAwaited, std::memory_order_relaxed);
}

namespace {

constinit std::atomic<unsigned> lastThreadId{0};
constinit thread_local unsigned threadId = 0;

// A count instead of the system's identity, which a child process would go on using after a fork.
unsigned currentId() noexcept {
    while (threadId == 0) threadId = lastThreadId.fetch_add(1, std::memory_order_relaxed) + 1;
    return threadId;
}

class ReentrantLock final : public Counted<iCriticalSection> {
public:
    void enter() override {
        const unsigned caller = currentId();
        if (owner.load(std::memory_order_relaxed) != caller) {
            word.lock();
            owner.store(caller, std::memory_order_relaxed);
        }
        ++depth;
    }

    bool tryEnter() override {
        const unsigned caller = currentId();
        if (owner.load(std::memory_order_relaxed) != caller) {
            if (!word.try_lock()) return false;
            owner.store(caller, std::memory_order_relaxed);
        }
        ++depth;
        return true;
    }

    void leave() override {
        if (--depth > 0) return;
        owner.store(0, std::memory_order_relaxed);
        word.unlock();
    }

private:
    WordLock word;
    std::atomic<unsigned> owner{0};  // Equals a thread's identity only while that thread holds it.
    unsigned depth = 0;
};

class ThreadServices final : public iThreadServices {
public:
    Vorn::Ptr<iCriticalSection> createCriticalSection(unsigned) override {
        return (new ReentrantLock)->handOver();
    }
    unsigned currentThreadId() override { return currentId(); }
};

constexpr NeverDestroyed<ThreadServices> services;

}  // namespace

iThreadServices* threadServices() {
    return &services.object;
}

}  // namespace posix
