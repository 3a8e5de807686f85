// Locks: the re-entrant lock and its scope guard.
#pragma once

#include <atomic>
#include <cstdint>

#include "Vorn/Ptr.h"
#include "Vorn/String.h"
#include "platform/Export.h"
#include "platform/iCriticalSection.h"

/// A lock that its holder can enter again, over a platform lock. Not copyable: each lock is its
/// own.
///
/// | state        | enter, attemptEntry by the holder | by another thread | leave             |
/// |--------------|-----------------------------------|-------------------|-------------------|
/// | free         | -                                 | held once         | caller's error    |
/// | held once    | held twice                        | waits; −1         | free              |
/// | held n times | held n + 1 times                  | waits; −1         | held n − 1 times  |
class VORN_EXPORT CriticalSection {
public:
    class Rep;

    /// All constructors throw what the platform throws, and `std::bad_alloc`.
    CriticalSection();
    explicit CriticalSection(const char* name);
    /// `value` goes to the platform's `createCriticalSection` as it is; the others pass 0.
    explicit CriticalSection(unsigned int value);
    ~CriticalSection();
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;

    /// Starts over with a new, free lock without a name. Nobody may be using the old one.
    void init(unsigned int value);
    /// Stores a name for people to read; null for none. Not while another thread does the same.
    void setName(const char* name);

    /// Throws what the platform throws, and is not entered then.
    void enter();
    /// Only the holding thread may call it.
    void leave();
    /// 0 when the lock was taken or entered once more, −1 at once when another thread holds it.
    int attemptEntry();
    /// The names that the standard library's guards and condition variables use.
    void lock() { enter(); }
    void unlock() { leave(); }
    bool try_lock() { return attemptEntry() == 0; }
    /// The identity of the holding thread, 0 when free. Taken without locking: for any other
    /// thread than the holder it may be out of date.
    unsigned owner();
    /// Does nothing.
    void debugPrint();

private:
    void noteEntry();

    Vorn::Ptr<Rep> rep;
};

/// What a `CriticalSection` is made of. The count is touched only by the holder of the platform
/// lock; the owner is also read without it.
class VORN_EXPORT CriticalSection::Rep {
public:
    explicit Rep(unsigned value);

    Vorn::Ptr<iCriticalSection> lock;
    std::uint32_t count = 0;
    std::atomic<std::uint32_t> ownerId{0};
    String name;
};

/// Holds a `CriticalSection`, which must outlive it, for a scope. Not copyable.
class VORN_EXPORT EasyCrit {
public:
    explicit EasyCrit(CriticalSection& guarded) : section(&guarded) { section->enter(); }
    ~EasyCrit() { section->leave(); }
    EasyCrit(const EasyCrit&) = delete;
    EasyCrit& operator=(const EasyCrit&) = delete;

private:
    CriticalSection* section;
};
