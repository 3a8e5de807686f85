// Three threads, the locks of the registry (Vorn/VornNamedObjects.cpp) and that of the pool report
// (Vorn/PooledObjectDebug.cpp), as docs/threading.md orders them. The locks are entered and left in
// one step here: locks.pml has their insides. Each thread does what it likes, as often as it likes.
// With FORMER, whoever holds the report's lock asks the registry for it once more.
#define THREADS 3
#define kList 0       // the namespace's list of keys
#define kKey 1        // a key of the application
#define kReportKey 2
#define kReport 3     // the report's lock, which is the object of its key
#define me (_pid + 1)

byte owner[4], depth[4];
bool listed[3], registered[3];  // The list has an entry for the key, the entry an object.
bool madeReport;
byte reporting;

inline enter(lock) {
    atomic { owner[lock] == 0 || owner[lock] == me -> owner[lock] = me; depth[lock]++ }
}

inline leave(lock) {
    d_step {
        assert(owner[lock] == me);
        depth[lock]--;
        if :: depth[lock] == 0 -> owner[lock] = 0 :: else fi
    }
}

inline findInfo_(key, found) {
    enter(kList);
    found = listed[key];
    leave(kList)
}

// A macro, since `factory` is a statement.
#define findOrCreate_(key, found, factory) \
    enter(kList); \
    findInfo_(key, found); \
    if \
    :: !found -> \
       factory; \
       assert(!listed[key]); \
       d_step { listed[key] = true; registered[key] = true }; \
       leave(kList) \
    :: else -> \
       leave(kList); \
       enter(key); \
       if :: !registered[key] -> factory; registered[key] = true :: else fi; \
       leave(key) \
    fi

inline makeReportLock() {
    d_step { assert(!madeReport); madeReport = true }  // Two would exclude nobody.
}

inline reportLock() { findOrCreate_(kReportKey, foundReport, makeReportLock()) }

inline report() {
    reportLock();
    enter(kReport);
#ifdef FORMER
    reportLock();
    enter(kReport);
#endif
    d_step { reporting++; assert(reporting == 1) }
    reporting--;
#ifdef FORMER
    leave(kReport);
#endif
    leave(kReport)
}

// Finding takes the same locks, and leaves the object.
inline remove_(key, found) {
    findInfo_(key, found);
    if :: found -> enter(key); registered[key] = false; leave(key) :: else fi
}

inline lock_(key, found) {
    enter(kList);
    findInfo_(key, found);
    listed[key] = true;
    leave(kList);
    enter(key)
}

active [THREADS] proctype thread() {
    bool found, foundReport, locked;

    do
    :: report()
    :: findOrCreate_(kKey, found, report())
    :: remove_(kKey, found)
    :: !locked -> lock_(kKey, found); locked = true
    :: locked -> leave(kKey); locked = false
    :: !locked -> break
    od
}
