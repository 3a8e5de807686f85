// A C program as a host. Its blocks are those of the C++ runtime that it has opened, or that came
// with the module.
#include "tests/hosts/host.h"

int main(int argc, char** arguments) {
    void* const runtime = argc > 6 ? dlopen(arguments[6], RTLD_NOW) : NULL;
    void* const module = openModule(arguments);
    void* const operators = runtime ? runtime : module;
    Host host = {0};
    host.makesBlock = (void* (*)(size_t))dlsym(operators, "_Znam");
    host.freesBlock = (void (*)(void*))dlsym(operators, "_ZdaPv");
    return playScenario(module, &host, arguments);
}
