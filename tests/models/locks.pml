// Three threads and one lock, as WordLock (platform/posix/Services.h) and ReentrantLock
// (platform/posix/ThreadServices.cpp) make it. Each statement is one step; steps of the threads come
// in every order. Weaker orders of memory are not modelled. A lost wake-up shows as a thread that
// sleeps while all others have ended.
// With FORGETFUL, who got the lock after waiting does not leave it marked as awaited.
#define THREADS 3
#define kFree 0
#define kHeld 1
#define kAwaited 2
#ifdef FORGETFUL
#define kAfterWaiting kHeld
#else
#define kAfterWaiting kAwaited
#endif
#define me (_pid + 1)

byte state = kFree;    // WordLock
byte owner, depth;     // ReentrantLock
bool asleep[THREADS];  // in std::atomic::wait
byte inside;           // how many threads hold the lock

// The system compares and puts to sleep in one step; who was woken compares again.
inline wait(expected) {
    do
    :: state != expected -> break
    :: atomic { state == expected -> asleep[_pid] = true }
       !asleep[_pid]
    od
}

inline notify_one() {
    if
    :: atomic { asleep[0] -> asleep[0] = false }
    :: atomic { asleep[1] -> asleep[1] = false }
    :: atomic { asleep[2] -> asleep[2] = false }
    :: atomic { !asleep[0] && !asleep[1] && !asleep[2] -> skip }
    fi
}

inline WordLock_try_lock(taken) {
    d_step { taken = (state == kFree); if :: taken -> state = kHeld :: else fi }
}

inline WordLock_lock(taken, old) {
    WordLock_try_lock(taken);
    if
    :: taken
    :: else ->
       do
       :: d_step { old = state; state = (old == kFree -> kAfterWaiting : kAwaited) }
          if :: old == kFree -> break :: else -> wait(kAwaited) fi
       od
    fi
}

inline WordLock_unlock(old) {
    d_step { old = state; state = kFree }
    if :: old == kAwaited -> notify_one() :: else fi
}

inline tryEnter(taken) {
    if
    :: owner == me -> taken = true
    :: else -> WordLock_try_lock(taken); if :: taken -> owner = me :: else fi
    fi
    if :: taken -> depth++ :: else fi
}

inline enter(taken, old) {
    tryEnter(taken);
    if :: taken :: else -> WordLock_lock(taken, old); owner = me; depth++ fi
}

inline leave(old) {
    depth--;
    if :: depth > 0 :: else -> owner = 0; WordLock_unlock(old) fi
}

// Enters and leaves as often as it likes, and holds the lock at most twice.
active [THREADS] proctype thread() {
    byte held, old;
    bool taken;
    do
    :: held < 2 ->
       if
       :: true -> enter(taken, old); taken = true
       :: true -> tryEnter(taken)  // attemptEntry
       fi
       if
       :: taken ->
          held++;
          if :: held == 1 -> inside++ :: else fi
          assert(inside == 1 && owner == me && depth == held)
       :: else -> assert(held == 0 && owner != me)  // Who holds it is never refused.
       fi
    :: held > 0 ->
       if :: held == 1 -> inside-- :: else fi
       held--;
       leave(old);
       assert((owner == me) == (held > 0))
    :: held == 0 -> break
    od
}
