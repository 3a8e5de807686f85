// A C program as a host. Its blocks are those of the C++ runtime that it has opened, or that came
// with the module.
#include "tests/hosts/scenarios.h"

int main(int argc, char** argv) {
    if (argc < 6) return 2;
    void* const runtime = argc > 6 ? dlopen(argv[6], RTLD_NOW) : NULL;
    Module module = {0};
    module.path = argv[1];
    module.folder = argv[2];
    module.expectedAllocator = argv[5];
    openModule(&module, modeNamed(argv[3]));
    void* const operators = runtime ? runtime : module.handle;
    Host host = {0};
    host.makesBlock = (void* (*)(size_t))dlsym(operators, "_Znam");
    host.freesBlock = (void (*)(void*))dlsym(operators, "_ZdaPv");
    return playScenario(&module, &host, argv[4]);
}
