// The module that the hosts of the matrix open: linked with the library, as an application's are.

#include "tests/hosts/module.h"

#include <dlfcn.h>

#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "Vorn/Vorn.h"
#include "tests/hosts/blocks_and_texts.h"
#include "tests/support/Application.h"

namespace {

constexpr std::size_t kLineBytes = 5000;

// The worker is the first to allocate from the platform, while its host waits inside `dlopen`.
const WString madeWhileLoading = [] {
    WString text;
    std::jthread([&] { text.assign(kLineBytes, L'w'); }).join();
    return text;
}();

const char* runtimeWorks(const std::string& folder) {
    const std::string path = folder + "/module.txt";
    std::ofstream(path) << std::string(kLineBytes, 'x') << '\n' << 12.5 << '\n';
    std::ifstream file(path);
    std::string line;
    double number = 0;
    std::getline(file, line);
    file >> number;
    if (line.size() != kLineBytes || number != 12.5) return "a stream lost bytes";
    try {
        static_cast<void>(std::stoi(line));
    } catch (const std::invalid_argument&) {
        return nullptr;
    }
    return "the runtime threw nothing";
}

// Each thread destroys what the one before it made.
const char* threadsWork() {
    std::vector<String> texts(8);
    for (int round = 0; round < 4; ++round) {
        std::vector<std::jthread> threads;
        threads.reserve(texts.size());
        for (String& text : texts)
            threads.emplace_back([&text] {
                for (int i = 0; i < 1000; ++i) text = String("round ") + String(i);
            });
    }
    for (const String& text : texts)
        if (text != "round 999") return "a thread lost a text";
    return nullptr;
}

const char* works(const char* folder) {
    if (madeWhileLoading.size() != kLineBytes) return "the static initialiser failed";
    if (const char* const failure = test::applicationWorks(folder)) return failure;
    if (const char* const failure = runtimeWorks(folder)) return failure;
    return threadsWork();
}

std::string_view allocatorInUse() {
    void* const mimalloc = dlopen("libmimalloc.so.2", RTLD_LAZY | RTLD_NOLOAD);
    if (!mimalloc) return "libc";
    const auto recognises =
        reinterpret_cast<bool (*)(const void*)>(dlsym(mimalloc, "mi_is_in_heap_region"));
    const WString text(100, L'x');
    return recognises(text.data()) ? "mimalloc" : "libc";
}

// Blocks and texts are made on one side and freed on the other; both make a text longer.
const char* exchanges(const Host& host) {
    for (const std::size_t bytes : {0u, 1u, 24u, 1000u, 100'000u, 8u << 20}) {
        ownSide.freesBlock(host.makesBlock(bytes));
        host.freesBlock(ownSide.makesBlock(bytes));
    }
    void* const text = ownSide.makesText();
    const char* failure = ownSide.growsText(text);
    if (host.makesText) {
        if (!failure) failure = host.growsText(text);
        ownSide.freesText(host.makesText());
        host.freesText(ownSide.makesText());
    }
    if (!failure) failure = ownSide.growsText(text);
    ownSide.freesText(text);
    return failure;
}

// Objects of all kinds and a busy thread.
void leaveMuchAlive() {
    static const std::string text(kLineBytes, 's');
    static const Vorn::PooledObjectDebug::LoggingTraitsBase logger("left alive");
    static CriticalSection held("left held");
    held.enter();
    auto& registry = *Vorn::NamedObjectsNamespace::getGlobalNamespaceInstance();
    *registry.findOrCreate<std::string>("left registered") = text;
    std::thread([] {
        for (String busy;;) busy = String("round ") + String(busy.size());
    }).detach();
}

}  // namespace

extern "C" __attribute__((visibility("default"))) const char* play(const char* scenario, Host* host,
                                                                   const char* folder,
                                                                   const char* allocator) {
    if (allocatorInUse() != allocator) return "another allocator is in use";
    if (std::string_view(scenario) == "exchanges") return exchanges(*host);
    if (std::string_view(scenario) == "exits_alive") leaveMuchAlive();
    ownSide.freesBlock(host->keptBlock);
    host->keptBlock = ownSide.makesBlock(1000);
    return works(folder);
}
