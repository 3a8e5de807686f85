#include "platform/posix/Allocator.h"

#if defined(VORN_ALLOCATOR_AUTO) || defined(VORN_ALLOCATOR_MIMALLOC)
#include <mimalloc.h>
#endif
#ifdef VORN_ALLOCATOR_AUTO
#include <dlfcn.h>
#include <link.h>
#endif
#ifdef __linux__
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>
#endif

#include <cstdint>
#include <cstdlib>
#include <new>
#include <string_view>
#include <type_traits>

namespace posix {
namespace {

#ifdef VORN_ALLOCATOR_AUTO
// The file that holds a function; empty for null.
std::string_view homeOf(const void* function) noexcept {
    Dl_info home;
    return dladdr(function, &home) ? home.dli_fname : "";
}

// Loaders differ in which addresses they have added the program's own to.
const void* inProgram(const dl_phdr_info* program, std::uintptr_t address) noexcept {
    const std::uintptr_t base = program->dlpi_addr;
    // NOLINTNEXTLINE(performance-no-int-to-ptr)
    return reinterpret_cast<const void*>(address < base ? base + address : address);
}

struct NeededQuery {
    std::string_view library;
    bool needed;
};

using DynamicEntry = std::remove_pointer_t<decltype(link_map::l_ld)>;

// Asked about the first object, which is the program.
int isNeeded(dl_phdr_info* program, std::size_t, void* query) noexcept {
    auto& [library, needed] = *static_cast<NeededQuery*>(query);
    const DynamicEntry* dynamic = nullptr;
    for (int i = 0; i < program->dlpi_phnum; ++i)
        if (program->dlpi_phdr[i].p_type == PT_DYNAMIC)
            dynamic =
                static_cast<const DynamicEntry*>(inProgram(program, program->dlpi_phdr[i].p_vaddr));
    if (!dynamic) return 1;
    const char* names = nullptr;
    for (const DynamicEntry* entry = dynamic; entry->d_tag != DT_NULL; ++entry)
        if (entry->d_tag == DT_STRTAB)
            names = static_cast<const char*>(inProgram(program, entry->d_un.d_ptr));
    for (const DynamicEntry* entry = dynamic; entry->d_tag != DT_NULL; ++entry)
        needed = needed || (entry->d_tag == DT_NEEDED && names + entry->d_un.d_val == library);
    return 1;
}

bool isLinkedToProgram(std::string_view file) noexcept {
    NeededQuery query{file.substr(file.rfind('/') + 1), false};
    dl_iterate_phdr(isNeeded, &query);
    return query.needed;
}

// Whether every module that there is and will be allocates by our operators, so that no block of
// mimalloc reaches another's `delete`. That is so in programs that are linked with the library, in
// which nothing stands before it. A program that came by it otherwise can have the C++ runtime
// inside, or have opened it before; then its operators end in the C library, and so must ours.
// Whoever replaces `malloc` is to see our blocks too.
bool operatorsAreOurs() noexcept {
    void* (*const operatorNew)(std::size_t) = &::operator new;
    const std::string_view library = homeOf(dlsym(RTLD_DEFAULT, "_Z17vornDllVersionStrv"));
    return !library.empty() && library == homeOf(reinterpret_cast<const void*>(operatorNew)) &&
           homeOf(reinterpret_cast<const void*>(&std::malloc)) ==
               homeOf(reinterpret_cast<const void*>(&std::abort)) &&
           isLinkedToProgram(library);
}

#endif

#if defined(VORN_ALLOCATOR_AUTO) || defined(VORN_ALLOCATOR_MIMALLOC)
bool isZero([[maybe_unused]] const char* file) noexcept {
    char digit = 0;
#ifdef __linux__
    const int descriptor = ::open(file, O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) return false;
    if (::read(descriptor, &digit, 1) != 1) digit = 0;
    ::close(descriptor);
#endif
    return digit == '0';
}

// mimalloc maps the largest blocks one by one, and asks for large pages only if the size happens to
// fit.
void* allocateInLargePages(std::size_t bytes) {
    void* const block = mi_malloc(bytes);
#ifdef __linux__
    constexpr std::size_t kPage = std::size_t{1} << 21, kMapped = std::size_t{1} << 24;
    if (bytes >= kMapped && block && mi_option_is_enabled(mi_option_large_os_pages)) {
        const std::size_t before = reinterpret_cast<std::uintptr_t>(block) % kPage;
        ::madvise(static_cast<char*>(block) - before, before + bytes, MADV_HUGEPAGE);
    }
#endif
    return block;
}

// With memory in pages of 2 MB, the first use of much of it costs a fraction. A small process
// becomes 2 MB larger. Where the system keeps a pool of such pages, mimalloc would draw on that,
// and a forked child that finds the pool empty when it writes is ended; so not there.
const Allocator& mimallocInLargePages() noexcept {
    static constexpr Allocator mimalloc{allocateInLargePages, mi_free};
    if (isZero("/proc/sys/vm/nr_hugepages") && isZero("/proc/sys/vm/nr_overcommit_hugepages"))
        mi_option_set_enabled_default(mi_option_large_os_pages, true);
    return mimalloc;
}
#endif

const Allocator& choose() noexcept {
    [[maybe_unused]] static constexpr Allocator cLibrary{std::malloc, std::free};
#ifdef VORN_ALLOCATOR_AUTO
    return operatorsAreOurs() ? mimallocInLargePages() : cLibrary;
#elif defined(VORN_ALLOCATOR_MIMALLOC)
    return mimallocInLargePages();
#else
    return cLibrary;
#endif
}

const Allocator& settle() noexcept;

void* allocateFirst(std::size_t bytes) {
    return settle().allocate(bytes);
}

void freeFirst(void* block) {
    settle().free(block);
}

constexpr Allocator unsettled{allocateFirst, freeFirst};

// Threads that meet here keep what the first one of them stores.
const Allocator& settle() noexcept {
    const Allocator* current = &unsettled;
    const Allocator& choice = choose();
    return currentAllocator.compare_exchange_strong(current, &choice, std::memory_order_relaxed)
               ? choice
               : *current;
}

// Where the loader runs the static initialisers of a module, others wait for its locks, and the
// initialiser may wait for one of them. So the first use comes before those.
[[gnu::constructor]] void settleWhileLoading() {
    settle();
}

}  // namespace

constinit std::atomic<const Allocator*> currentAllocator{&unsettled};

}  // namespace posix
