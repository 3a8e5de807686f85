// A C++ program as a host, with or without the library, with the C++ runtime inside or beside it.
#include "tests/hosts/host.h"

#include "tests/hosts/blocks_and_texts.h"

namespace {

// Made before the first static initialiser of any library.
char* madeFirst = nullptr;
[[gnu::used, gnu::section(".preinit_array")]] void (*const makesFirst)() = [] {
    madeFirst = new char[100];
};

}  // namespace

int main(int, char** arguments) {
    delete[] madeFirst;
    Host host = ownSide;
    return playScenario(openModule(arguments), &host, arguments);
}
