// Test support: the platform that the library meets in the test program.
//
// The test program brings its own `OS()`, whose services are the POSIX ones until a double is put
// in front of one of them. Those that are complete install themselves for as long as they live.
#pragma once

#include <unistd.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <map>
#include <new>
#include <set>
#include <string>
#include <thread>

#include "platform/posix/Services.h"

namespace test {

/// How many more times services were asked for than used, over all doubles of this header: each
/// operation of theirs notes its use, so that a caller who keeps a service for a second one shows.
inline std::atomic<long> unusedAnswers = 0;
/// Notes a use; returns what answers, or the answer.
template <class T>
const T& used(const T& object) {
    --unusedAnswers;
    return object;
}

/// Puts a double behind `OS()` for a scope, in place of whatever was there. Not while other threads
/// use the service.
template <class Interface>
struct Override {
    explicit Override(Interface* service) : former(installed) { installed = service; }
    ~Override() { installed = former; }

    static inline constinit Interface* installed = nullptr;
    Interface* const former;
};

/// What is behind `OS()`: the double that is installed, or else the service.
template <class Interface>
Interface* installedOr(Interface* service) {
    Interface* const installed = Override<Interface>::installed;
    if (installed) ++unusedAnswers;
    return installed ? installed : service;
}

/// The base of doubles that allocate in their own way: hands the rest on to what stood behind
/// `OS()` when it was built.
struct ForwardingMemory : iMemoryServices {
    void registerReclaimable(iReclaimable* r) override { next->registerReclaimable(r); }
    void unregisterReclaimable(iReclaimable* r) override { next->unregisterReclaimable(r); }

    iMemoryServices* const next = OS()->memoryServices();
};

/// Counters as ever; a scope of its own in which uses are noted.
struct Atomics : iAtomicServices {
    void increment(std::int32_t* counter) override {
        used(posix::atomicServices)->increment(counter);
    }
    std::int32_t decrement(std::int32_t* counter) override {
        return used(posix::atomicServices)->decrement(counter);
    }
    void* compareExchangePointer(void** target, void* exchange, void* comparand) override {
        return used(posix::atomicServices)->compareExchangePointer(target, exchange, comparand);
    }

    Override<iAtomicServices> installation{this};
};

/// What is allocated in this scope passes every ledger by: the blocks of doubles and of assertions
/// are not the library's.
struct Unledgered {
    Unledgered() { ++depth; }
    ~Unledgered() { --depth; }

    static inline int depth = 0;
};

/// Keeps book of every block that is allocated while it lives, on one thread. Blocks from before
/// pass it by.
struct MemoryLedger : ForwardingMemory {
    void* allocate(std::size_t bytes) override {
        used(next);
        if (Unledgered::depth > 0) return next->allocate(bytes);
        const Unledgered book;
        if (failIn > 0 && --failIn == 0) {
            ++refused;
            throw std::bad_alloc();
        }
        void* const block = next->allocate(bytes);
        std::memset(block, 0xA5, bytes);  // So that what nobody sets shows.
        blocks.insert(block);
        return block;
    }
    void free(void* block) override {
        blocks.extract(block);  // Unlike `erase`, it has let go of its node when that is released.
        used(next)->free(block);
    }

    std::set<void*> blocks;  ///< Those that are not released.
    std::size_t failIn = 0;  ///< The n-th allocation from now on is refused, once; 0 for none.
    std::size_t refused = 0;
    Override<iMemoryServices> installation{this};
};

/// Files in memory, for one thread. A file opened for writing becomes visible, with what was
/// written, when its last handle goes.
struct MemoryFiles : iFileServices {
    struct File : posix::Counted<iFile> {
        File(MemoryFiles& owner, const WString& name, const std::string& bytes)
            : files(owner), path(name), content(bytes) {}
        ~File() override { files.put(path, content); }
        unsigned read(void* buffer, unsigned bytes) override {
            const Unledgered unledgered;
            files.calls += ", read " + std::to_string(bytes);
            if (files.readNothing) return 0;
            const std::size_t count = content.copy(static_cast<char*>(buffer), bytes, position);
            position += count;
            return static_cast<unsigned>(count);
        }
        unsigned write(const void* data, unsigned bytes) override {
            const Unledgered unledgered;
            files.calls += ", write " + std::to_string(bytes);
            if (files.writeNothing) return 0;
            content.append(static_cast<const char*>(data), bytes);
            if (files.damageWrites) content.back() ^= 1;
            return bytes;
        }
        std::uint64_t size() override {
            const Unledgered unledgered;
            files.calls += ", size";
            return files.reportedSize > 0 ? files.reportedSize : content.size();
        }

        MemoryFiles& files;
        const WString path;
        std::string content;
        std::size_t position = 0;
    };

    void put(const WString& path, const std::string& bytes) {
        const Unledgered unledgered;
        contents[path] = bytes;
    }
    /// The bytes of a file; none for a file that does not exist.
    std::string get(const WString& path) const {
        return contents.contains(path) ? contents.at(path) : "";
    }
    wchar_t pathSeparator() override { return used(L'/'); }
    Vorn::Ptr<iFile> openFile(const WString& path, int a, int b, int c, int d) override {
        used(contents);
        const Unledgered unledgered;
        calls += ", open " + std::string(path.begin(), path.end());
        for (const int code : {a, b, c, d}) calls += ' ' + std::to_string(code);
        if (refuseToOpen || (a == 0 && !contents.contains(path))) return {};
        return (new File(*this, path, a == 0 ? get(path) : ""))->handOver();
    }

    std::string calls;  ///< ", open a.ini 0 0 1 0, size, read 12"
    bool refuseToOpen = false, readNothing = false, writeNothing = false, damageWrites = false;
    std::uint64_t reportedSize = 0;  ///< In place of the true one; 0 for none.
    std::map<WString, std::string> contents;
    Override<iFileServices> installation{this};
};

/// A clock that stands still, or goes on by a step at every reading.
struct Clock : iTextServices {
    explicit Clock(double milliseconds) : ms(milliseconds) {}
    WString wideFromAscii(const char* text) override { return used(next)->wideFromAscii(text); }
    UTF8String utf8FromWide(const WString& text) override { return used(next)->utf8FromWide(text); }
    WString wideFromUtf8(const char* text) override { return used(next)->wideFromUtf8(text); }
    double nowMilliseconds() override { return ms += used(step); }

    double ms, step = 0;
    iTextServices* const next = OS()->textServices();
    Override<iTextServices> installation{this};
};

/// Locks that note how many entries are held, and the value that the last one was made with. Others
/// have their turn after each, so that what a lock should have covered shows.
struct Threads : iThreadServices {
    struct Lock : posix::Counted<iCriticalSection> {
        void enter() override {
            lock->enter();
            ++held;
        }
        bool tryEnter() override {
            const bool entered = lock->tryEnter();
            if (entered) ++held;
            return entered;
        }
        void leave() override {
            --held;
            lock->leave();
            std::this_thread::yield();
        }
        Vorn::Ptr<iCriticalSection> lock = posix::threadServices->createCriticalSection(0);
    };
    Vorn::Ptr<iCriticalSection> createCriticalSection(unsigned n) override {
        value = used(n);
        return (new Lock)->handOver();
    }
    unsigned currentThreadId() override { return used(posix::threadServices)->currentThreadId(); }

    static inline std::atomic<int> held = 0;
    unsigned value = 0;
    Override<iThreadServices> installation{this};
};

/// This is the base of the logs folder; there is no other.
struct Folder : iPathServices {
    explicit Folder(const std::string& name) : path(name.begin(), name.end()) {}
    WString getFolderPath(int code) override { return used(code) == 4 ? path : WString(); }

    const WString path;
    Override<iPathServices> installation{this};
};

/// A folder of this process's own, which goes with all that is in it.
struct TemporaryFolder {
    TemporaryFolder() { std::filesystem::create_directories(path); }
    ~TemporaryFolder() { std::filesystem::remove_all(path); }

    const std::filesystem::path path =
        std::filesystem::canonical(std::filesystem::temp_directory_path()) /
        ("vorn-test-" + std::to_string(::getpid()));
};

}  // namespace test
