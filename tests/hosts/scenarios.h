// What each host of the matrix does with the module, for hosts in C and C++, one scenario a
// process:
//
//     HOST MODULE FOLDER MODE SCENARIO EXPECTED [RUNTIME]
//
// MODE says how the module is opened: local, global or deepbind. EXPECTED is what the scenario
// "allocator" expects. RUNTIME, the C++ runtime, is opened before the module where it is given.
#ifndef _GNU_SOURCE
#define _GNU_SOURCE
#endif

#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "tests/hosts/module.h"

// What the host does by itself. Texts are null in a host that knows none.
typedef struct {
    void* (*makesBlock)(size_t);
    void (*freesBlock)(void*);
    void* (*makesText)(void);
    const char* (*growsText)(void*);
    void (*freesText)(void*);
} Host;

typedef struct {
    const char* path;
    const char* folder;
    const char* expectedAllocator;
    void* handle;
    const ModuleCalls* calls;
} Module;

static const size_t sizes[] = {0, 1, 24, 1000, 100000, 8u << 20};
enum { kSizes = sizeof sizes / sizeof *sizes };

static void openModule(Module* module, int mode) {
    module->calls = NULL;
    module->handle = dlopen(module->path, mode);
    if (module->handle) module->calls = (const ModuleCalls*)dlsym(module->handle, "moduleCalls");
    if (module->calls) return;
    fprintf(stderr, "%s\n", dlerror());
    exit(1);
}

static const char* moduleWorks(Module* module, const Host* host) {
    (void)host;
    return module->calls->works(module->folder);
}

static const char* allocatorIsExpected(Module* module, const Host* host) {
    (void)host;
    const char* const actual = module->calls->allocator();
    return strcmp(actual, module->expectedAllocator) == 0 ? NULL : actual;
}

static const char* hostFrees(Module* module, const Host* host) {
    for (int i = 0; i < kSizes; ++i) host->freesBlock(module->calls->makesBlock(sizes[i]));
    if (host->freesText) host->freesText(module->calls->makesText());
    return NULL;
}

static const char* moduleFrees(Module* module, const Host* host) {
    for (int i = 0; i < kSizes; ++i) module->calls->freesBlock(host->makesBlock(sizes[i]));
    if (host->makesText) module->calls->freesText(host->makesText());
    return NULL;
}

static const char* bothGrow(Module* module, const Host* host) {
    void* const text = module->calls->makesText();
    const char* failure = module->calls->growsText(text);
    if (!failure && host->growsText) failure = host->growsText(text);
    if (!failure) failure = module->calls->growsText(text);
    module->calls->freesText(text);
    return failure;
}

static const char* moduleIsReopened(Module* module, const Host* host) {
    void* const block = module->calls->makesBlock(1000);
    const char* failure = module->calls->works(module->folder);
    dlclose(module->handle);
    openModule(module, RTLD_NOW);
    if (!failure) failure = module->calls->works(module->folder);
    module->calls->freesBlock(block);
    return failure ? failure : bothGrow(module, host);
}

static const char* exitsWithAllAlive(Module* module, const Host* host) {
    (void)host;
    const char* const failure = module->calls->leavesMuchAlive();
    return failure ? failure : module->calls->works(module->folder);
}

static const struct {
    const char* name;
    const char* (*play)(Module*, const Host*);
} scenarios[] = {
    {"works", moduleWorks},
    {"allocator", allocatorIsExpected},
    {"host_frees", hostFrees},
    {"module_frees", moduleFrees},
    {"both_grow", bothGrow},
    {"reopened", moduleIsReopened},
    {"exits_alive", exitsWithAllAlive},
};

static int modeNamed(const char* name) {
    if (strcmp(name, "global") == 0) return RTLD_NOW | RTLD_GLOBAL;
#ifdef RTLD_DEEPBIND
    if (strcmp(name, "deepbind") == 0) return RTLD_NOW | RTLD_DEEPBIND;
#endif
    return RTLD_NOW;
}

static int playScenario(Module* module, const Host* host, const char* name) {
    for (size_t i = 0; i < sizeof scenarios / sizeof *scenarios; ++i) {
        if (strcmp(scenarios[i].name, name) != 0) continue;
        const char* const failure = scenarios[i].play(module, host);
        if (failure) fprintf(stderr, "%s: %s\n", name, failure);
        return failure ? 1 : 0;
    }
    fprintf(stderr, "there is no scenario %s\n", name);
    return 2;
}
