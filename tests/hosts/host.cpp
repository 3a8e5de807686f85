// A C++ program as a host, with or without the library, with the C++ runtime inside or beside it.
#include <sstream>
#include <string>

#include "tests/hosts/scenarios.h"

namespace {

void* hostMakesBlock(std::size_t bytes) {
    return new char[bytes]();
}

void hostFreesBlock(void* block) {
    delete[] static_cast<char*>(block);
}

void* hostMakesText() {
    return new std::string(100, 'h');
}

const char* hostGrowsText(void* text) {
    auto& string = *static_cast<std::string*>(text);
    const std::size_t wanted = 2 * string.size() + 1000;
    std::istringstream input(std::string(wanted, 'h'));
    std::getline(input, string);
    return string.size() == wanted ? nullptr : "the host could not grow the text";
}

void hostFreesText(void* text) {
    delete static_cast<std::string*>(text);
}

// Made before the first static initialiser of any library.
char* madeFirst = nullptr;
[[gnu::used, gnu::section(".preinit_array")]] void (*const makesFirst)() = [] {
    madeFirst = new char[100];
};

constexpr Host host = {hostMakesBlock, hostFreesBlock, hostMakesText, hostGrowsText, hostFreesText};

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
