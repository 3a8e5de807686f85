// Locks: the re-entrant lock and its scope guard.
#pragma once

#include <atomic>
#include <cstdint>

#include "Vorn/Ptr.h"
#include "Vorn/String.h"
#include "platform/Export.h"
#include "platform/iCriticalSection.h"

/// A lock that its holder can enter again, built on a platform lock. Not copyable.
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
    /// Passes `value` to the platform's `createCriticalSection`; the other constructors pass 0.
    explicit CriticalSection(unsigned int value);
    ~CriticalSection();
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;

    /// Replaces the lock with a new, free one without a name. Nobody may be using the old one.
    void init(unsigned int value);
    /// Stores a name for people to read in a debugger; null for none. One thread at a time.
    void setName(const char* name);

    /// Waits while another thread holds the lock, and takes it, or enters it once more. Throws what
    /// the platform throws; the lock is then not entered.
    void enter();
    /// Undoes one `enter`; the last one frees the lock. Only the holder may call it: not checked.
    void leave();
    /// `enter` without waiting. Returns 0 on success, and −1 if another thread holds the lock.
    int attemptEntry();
    /// The same, under the names that the standard guards and condition variables use.
    void lock() { enter(); }
    void unlock() { leave(); }
    bool try_lock() { return attemptEntry() == 0; }
    /// The identity of the thread that holds the lock, 0 if it is free. Read without locking: for
    /// any thread but the holder the answer may be out of date.
    unsigned owner();
    /// Does nothing.
    void debugPrint();

private:
    void noteEntry();

    Vorn::Ptr<Rep> rep;
};

/// The state of a `CriticalSection`. Only the holder of the platform lock touches the count; the
/// owner is also read without it.
class VORN_EXPORT CriticalSection::Rep {
public:
    explicit Rep(unsigned value);

    Vorn::Ptr<iCriticalSection> lock;
    std::uint32_t count = 0;
    std::atomic<std::uint32_t> ownerId{0};
    String name;
};

/// Holds a `CriticalSection` for a scope. The lock must outlive it. Not copyable.
class VORN_EXPORT EasyCrit {
public:
    explicit EasyCrit(CriticalSection& guarded) : section(&guarded) { section->enter(); }
    ~EasyCrit() { section->leave(); }
    EasyCrit(const EasyCrit&) = delete;
    EasyCrit& operator=(const EasyCrit&) = delete;

private:
    CriticalSection* section;
};
