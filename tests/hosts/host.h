// How hosts in C and C++ play with the module, one scenario a process:
//
//     HOST MODULE FOLDER MODE SCENARIO ALLOCATOR [RUNTIME]
//
// MODE says how the module is opened: local, global or deepbind. The module that is "reopened"
// plays once before it is closed and once after. RUNTIME, the C++ runtime, is opened before the
// module.
#ifndef _GNU_SOURCE
#define _GNU_SOURCE
#endif

#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

#include "tests/hosts/module.h"

static void* openModule(char** arguments) {
    int mode = RTLD_NOW;
    if (strcmp(arguments[3], "global") == 0) mode |= RTLD_GLOBAL;
    if (strcmp(arguments[3], "deepbind") == 0) mode |= RTLD_DEEPBIND;
    void* const module = dlopen(arguments[1], mode);
    if (!module) fprintf(stderr, "%s\n", dlerror());
    return module;
}

static int play(void* module, Host* host, char** arguments) {
    const char* const scenario = arguments[4];
    Play* const playInside = (Play*)dlsym(module, "play");
    const char* const failure = playInside(scenario, host, arguments[2], arguments[5]);
    if (failure) fprintf(stderr, "%s: %s\n", scenario, failure);
    return failure ? 1 : 0;
}

static int playScenario(void* module, Host* host, char** arguments) {
    const int failed = play(module, host, arguments);
    if (failed || strcmp(arguments[4], "reopened") != 0) return failed;
    dlclose(module);
    return play(openModule(arguments), host, arguments);
}
