// Asks the platform that it is linked with for what platforms promise, one line a promise: a start
// for those who port the library.
//
// Usage: platform_check WORKFOLDER

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <new>
#include <thread>

#include "Vorn/Reclaimable.h"
#include "platform/platform.h"

namespace {

bool allKept = true;

void promise(const char* text, const std::function<bool()>& isKept) {
    bool kept = false;
    try {
        kept = isKept();
    } catch (...) {  // Broken: what may be thrown is caught where it is asked for.
    }
    std::printf("%-6s  %s\n", kept ? "kept" : "BROKEN", text);
    allKept = allKept && kept;
}

// Gives back nothing; when it is asked, another one registers.
struct Cache final : Reclaimable {
    std::size_t reclaimableBytes() override { return 0; }
    std::size_t reclaim(std::size_t) override {
        if (next) *next = Vorn::Ptr<Cache>(new Cache);
        return ++asked, 0;
    }
    std::size_t reclaimAll() override { return 0; }
    Vorn::Ptr<Cache>* next = nullptr;
    static inline unsigned asked = 0;
};

void checkMemory(iMemoryServices& memory) {
    promise("memory: blocks of any size, none twice", [&] {
        for (const std::size_t bytes : {0u, 1u, 100u, 1u << 16, 1u << 24}) {
            void* const blocks[] = {memory.allocate(bytes), memory.allocate(bytes)};
            if (!blocks[0] || !blocks[1] || blocks[0] == blocks[1]) return false;
            for (void* const block : blocks) std::memset(block, 1, bytes), memory.free(block);
        }
        return memory.free(nullptr), true;
    });
    promise("memory: std::bad_alloc for more than there is", [&] {
        try {
            return memory.free(memory.allocate(SIZE_MAX / 4)), false;
        } catch (const std::bad_alloc&) {
            return true;
        }
    });
    promise("memory: who registers while others are asked is not asked", [&] {
        Vorn::Ptr<Cache> late;
        Cache cache;
        cache.next = &late;
        return memory.reclaim(1) == 0 && Cache::asked <= 1;
    });
}

// Does the work 100,000 times on each of two threads.
template <class Work>
void onTwoThreads(Work work) {
    const auto often = [&] {
        for (int n = 0; n < 100'000; ++n) work();
    };
    std::thread other(often);
    often();
    other.join();
}

void checkAtomics(iAtomicServices& atomics) {
    promise("counts: no step is lost between threads", [&] {
        std::int32_t count = 1;
        onTwoThreads([&] { atomics.increment(&count), atomics.decrement(&count); });
        onTwoThreads([&] { atomics.increment(&count); });
        return count == 200'001;
    });
    promise("counts: decrement returns what is left", [&] {
        std::int32_t count = 2;
        return atomics.decrement(&count) == 1 && atomics.decrement(&count) == 0;
    });
    promise("counts: an exchange takes place where the comparand is found", [&] {
        char one, other;
        void* target = &one;
        return atomics.compareExchangePointer(&target, &other, &other) == &one && target == &one &&
               atomics.compareExchangePointer(&target, &other, &one) == &one && target == &other;
    });
}

void checkThreads(iThreadServices& threads) {
    const unsigned self = threads.currentThreadId();
    unsigned another = 0;
    std::thread([&] { another = threads.currentThreadId(); }).join();
    promise("threads: each has an identity of its own", [&] {
        return self != 0 && another != 0 && self != another && self == threads.currentThreadId();
    });
    const Vorn::Ptr<iCriticalSection> lock = threads.createCriticalSection(0);
    promise("locks: there are locks", [&] { return lock.get() != nullptr; });
    if (!lock) return;
    const auto othersGetIn = [&] {
        bool entered = false;
        std::thread([&] {
            entered = lock->tryEnter();
            if (entered) lock->leave();
        }).join();
        return entered;
    };
    promise("locks: the holder gets in again, others only when every entry is given up", [&] {
        lock->enter();
        if (!lock->tryEnter()) return false;
        lock->leave();
        const bool early = othersGetIn();
        lock->leave();
        return !early && othersGetIn();
    });
    promise("locks: one thread at a time", [&] {
        unsigned entries = 0;
        onTwoThreads([&] { lock->enter(), ++entries, lock->leave(); });
        return entries == 200'000;
    });
}

void checkTexts(iTextServices& texts) {
    const WString wide = L"Gr\u00F6\u00DFe \U0001F3AC";
    const char* const utf8 = "Gr\xC3\xB6\xC3\x9F\x65 \xF0\x9F\x8E\xAC";
    promise("texts: UTF-8 both ways",
            [&] { return texts.utf8FromWide(wide) == utf8 && texts.wideFromUtf8(utf8) == wide; });
    promise("texts: what is ill-formed is replaced", [&] {
        return !texts.wideFromUtf8("\xFF").empty() && !texts.utf8FromWide(L"\xD800").empty();
    });
    promise("texts: one character a byte",
            [&] { return texts.wideFromAscii("Reel 7") == L"Reel 7"; });
    promise("clock: milliseconds", [&] {
        const double start = texts.nowMilliseconds();
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        const double elapsed = texts.nowMilliseconds() - start;
        return elapsed > 19 && elapsed < 2000;
    });
}

void checkFiles(iFileServices& files, const WString& folder) {
    const WString path = folder + files.pathSeparator() + L"platform_check.tmp";
    promise("files: what does not exist cannot be read",
            [&] { return !files.openFile(path + L".none", 0, 0, 1, 0); });
    promise("files: writing takes every byte", [&] {
        for (const char* const content : {"first", "new"}) {
            const Vorn::Ptr<iFile> file = files.openFile(path, 1, 3, 0, 0);
            for (const char* c = content; *c; ++c)
                if (!file || file->write(c, 1) != 1) return false;
            if (file->size() != std::strlen(content)) return false;
        }
        return true;
    });
    promise("files: the last handle leaves what was written last, and nothing else", [&] {
        const Vorn::Ptr<iFile> file = files.openFile(path, 0, 0, 1, 0);
        char read[6] = {};
        return file && file->size() == 3 && file->read(read, 6) == 3 && !std::strcmp(read, "new");
    });
    promise("files: a path does not end at a zero character",
            [&] { return !files.openFile(path + WString(1, L'\0'), 0, 0, 1, 0); });
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) return std::fputs("usage: platform_check WORKFOLDER\n", stderr), 2;
    iSystemServices& services = *OS();
    checkMemory(*services.memoryServices());
    checkAtomics(*services.atomicServices());
    checkThreads(*services.threadServices());
    checkTexts(*services.textServices());
    checkFiles(*services.fileServices(), services.textServices()->wideFromUtf8(argv[1]));
    promise("folders: the base of the logs ends with a separator", [&] {
        const WString logs = services.pathServices()->getFolderPath(4);
        return logs.empty() || logs.back() == services.fileServices()->pathSeparator();
    });
    std::printf("%u processors\n", services.systemInfo()->getNumProcessors());
    return allKept ? 0 : 1;
}
