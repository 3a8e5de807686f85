// The module that the hosts of the matrix open: linked with the library, as an application's are.

#include "tests/hosts/module.h"

#include <dlfcn.h>

#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Vorn/Vorn.h"
#include "tests/hosts/blocks_and_texts.h"

namespace {

constexpr std::size_t kLineBytes = 5000;

// The worker is the first to allocate from the platform, while its host waits inside `dlopen`.
const WString madeWhileLoading = [] {
    WString text;
    std::jthread([&] { text.assign(kLineBytes, L'w'); }).join();
    return text;
}();

const char* settingsWork(const std::string& folder) {
    const WString path = Vorn::WStringFromUTF8((folder + "/module.ini").c_str());
    VornIniFile written(true);
    written["Video"].emplace_back(String("Width"), String(1920), '=');
    if (!written.save(path)) return "the settings could not be saved";
    const VornIniFile read(path, true, true);
    const auto& video = read["Video"];
    const bool kept = video.size() == 1 && video.front().getValue() == "1920";
    return kept ? nullptr : "a setting was lost";
}

const char* streamsWork(const std::string& folder) {
    const std::string path = folder + "/module.txt";
    std::ofstream(path) << std::string(kLineBytes, 'x') << '\n' << 12.5 << '\n';
    std::ifstream file(path);
    std::string line;
    std::string number;
    std::getline(file, line);
    std::getline(file, number);
    const bool kept = line.size() == kLineBytes && number == "12.5";
    return kept ? nullptr : "a stream lost bytes";
}

const char* exceptionsWork() {
    try {
        Vorn::NamedObjectsNamespace::getGlobalNamespaceInstance()->create<int>("nothing", nullptr);
        return "the library threw nothing";
    } catch (const Vorn::Exception::RuntimeError&) {
    }
    try {
        static_cast<void>(std::stoi(std::string(100, 'x')));
        return "the runtime threw nothing";
    } catch (const std::invalid_argument&) {
    }
    return nullptr;
}

// Each thread destroys what the one before it made.
const char* threadsWork() {
    constexpr int rounds = 1000;
    std::vector<String> texts(8);
    for (int round = 0; round < 4; ++round) {
        std::vector<std::jthread> threads;
        threads.reserve(texts.size());
        for (String& text : texts)
            threads.emplace_back([&text] {
                for (int i = 0; i < rounds; ++i) text = String("round ") + String(i);
            });
    }
    for (const String& text : texts)
        if (text != "round 999") return "a thread lost a text";
    return nullptr;
}

struct Clip {
    std::string name;
};

const char* works(const char* folder) {
    if (madeWhileLoading.size() != kLineBytes) return "the static initialiser failed";
    if (const char* const failure = settingsWork(folder)) return failure;
    if (const char* const failure = streamsWork(folder)) return failure;
    if (const char* const failure = exceptionsWork()) return failure;
    return threadsWork();
}

const char* allocator() {
    void* const mimalloc = dlopen("libmimalloc.so.2", RTLD_LAZY | RTLD_NOLOAD);
    if (!mimalloc) return "libc";
    const auto recognises =
        reinterpret_cast<bool (*)(const void*)>(dlsym(mimalloc, "mi_is_in_heap_region"));
    const WString text(100, L'x');
    return recognises(text.data()) ? "mimalloc" : "libc";
}

const char* leavesMuchAlive() {
    static const std::string text(kLineBytes, 's');
    static const Vorn::PooledObjectDebug::LoggingTraitsBase logger("left alive");
    static CriticalSection held("left held");
    held.enter();
    auto& registry = *Vorn::NamedObjectsNamespace::getGlobalNamespaceInstance();
    registry.findOrCreate<Clip>("left registered")->name = text;
    std::thread([] {
        for (String busy;;) busy = String("round ") + String(busy.size());
    }).detach();
    return nullptr;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) const ModuleCalls moduleCalls = {
    works, allocator, makesBlock, freesBlock, makesText, growsText, freesText, leavesMuchAlive};
