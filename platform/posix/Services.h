// Platform library for POSIX systems: its services, and what their sources share.
#pragma once

#include <atomic>
#include <cstdint>

#include "Vorn/Ptr.h"
#include "platform/platform.h"

// The thread sanitizer's, null where it is not.
extern "C" {
[[gnu::weak]] void __tsan_acquire(void* word) noexcept;  // NOLINT(bugprone-reserved-identifier)
[[gnu::weak]] void __tsan_release(void* word) noexcept;  // NOLINT(bugprone-reserved-identifier)
}

namespace posix {

/// The services that the platform library's `OS()` hands out. They exist from before the first
/// static initialiser until the process ends.
extern iMemoryServices* const memoryServices;
extern iTextServices* const textServices;
extern iFileServices* const fileServices;
extern iThreadServices* const threadServices;
extern iAtomicServices* const atomicServices;
extern iSystemInfo* const systemInfo;
extern iPathServices* const pathServices;

/// Keeps a static object without an initialiser at start and a destructor at exit. The object that
/// is wrapped is declared `constexpr`, since not every compiler drops the exit handler otherwise;
/// what it holds stays writable.
template <class T>
union NeverDestroyed {
    constexpr NeverDestroyed() : object() {}
    constexpr ~NeverDestroyed() {}

    mutable T object;
};

/// Base of what reaches the library in an internally counted handle.
template <class Interface>
class Counted : public Interface {
public:
    /// The first handle, which owns the object from now on. Called once, on an object from `new`.
    Vorn::Ptr<Interface> handOver() noexcept {
        return Vorn::Ptr<Interface>::adopt(this, &references);
    }

private:
    std::int32_t references = 1;
};

/// Tell the thread sanitizer of a program that is built with it what this library, which is not,
/// does at the word: what came before a release comes before what follows the acquisition.
inline void tellAcquired(void* word) noexcept {
    if (__tsan_acquire) __tsan_acquire(word);
}
inline void tellReleased(void* word) noexcept {
    if (__tsan_release) __tsan_release(word);
}

/// A lock of one word, not re-entrant. Works with `std::lock_guard`; nothing in it throws.
class WordLock {
public:
    void lock() noexcept {
        if (!try_lock()) lockContended();
    }
    bool try_lock() noexcept {
        std::uint32_t expected = kFree;
        if (!state.compare_exchange_strong(expected, kHeld, std::memory_order_acquire,
                                           std::memory_order_relaxed))
            return false;
        tellAcquired(&state);
        return true;
    }
    void unlock() noexcept {
        tellReleased(&state);
        if (state.exchange(kFree, std::memory_order_release) == kAwaited) state.notify_one();
    }

private:
    static constexpr std::uint32_t kFree = 0;
    static constexpr std::uint32_t kHeld = 1;
    static constexpr std::uint32_t kAwaited = 2;  // Held, and others may wait.

    void lockContended() noexcept;

    std::atomic<std::uint32_t> state{kFree};
};

/// Opens the regular file at `path` for reading; a handle without object if that is not possible.
Vorn::Ptr<iFile> openForReading(const UTF8String& path);

/// Opens the file at `path` to be written anew; a handle without object if that is not possible.
Vorn::Ptr<iFile> openForWriting(const UTF8String& path);

}  // namespace posix
