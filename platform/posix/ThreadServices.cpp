#include <atomic>

#include "platform/posix/Services.h"

namespace posix {

// `wait` itself looks again for a moment before it puts the thread to sleep. Whoever gets the lock
// here cannot know whether others still wait, so it stays marked.
void WordLock::lockContended() noexcept {
    while (state.exchange(kAwaited, std::memory_order_acquire) != kFree)
        state.wait(kAwaited, std::memory_order_relaxed);
    tellAcquired(&state);
}

namespace {

constinit std::atomic<unsigned> lastThreadId{0};
// In the static block, which is reached without a call; the C library keeps room there for
// libraries that are loaded late.
[[gnu::tls_model("initial-exec")]] constinit thread_local unsigned threadId = 0;

// A count instead of the system's identity, which a child process would go on using after a fork.
[[gnu::noinline]] unsigned newId() noexcept {
    while (threadId == 0) threadId = lastThreadId.fetch_add(1, std::memory_order_relaxed) + 1;
    return threadId;
}

unsigned currentId() noexcept {
    return threadId != 0 ? threadId : newId();
}

class ReentrantLock final : public Counted<iCriticalSection> {
public:
    void enter() override {
        if (!tryEnter()) waitAndEnter();
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
    void waitAndEnter() {
        word.lock();
        owner.store(currentId(), std::memory_order_relaxed);
        ++depth;
    }

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

iThreadServices* const threadServices = &services.object;

}  // namespace posix
