// A C++ program as a host, with or without the library, with the C++ runtime inside or beside it.
#include "tests/hosts/blocks_and_texts.h"
#include "tests/hosts/scenarios.h"

namespace {

// Made before the first static initialiser of any library.
char* madeFirst = nullptr;
[[gnu::used, gnu::section(".preinit_array")]] void (*const makesFirst)() = [] {
    madeFirst = new char[100];
};

constexpr Host host = {makesBlock, freesBlock, makesText, growsText, freesText};

}  // namespace

int main(int argc, char** argv) {
    if (argc < 6) return 2;
    delete[] madeFirst;
    Module module{};
    module.path = argv[1];
    module.folder = argv[2];
    module.expectedAllocator = argv[5];
    openModule(&module, modeNamed(argv[3]));
    return playScenario(&module, &host, argv[4]);
}
