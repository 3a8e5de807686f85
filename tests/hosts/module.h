// What the module of the host matrix offers to hosts in any language, as the symbol "moduleCalls".
#pragma once

#include <stddef.h>

/// Texts that are returned say what went wrong; null says nothing did.
typedef struct {
    /// Uses the library, streams, exceptions and threads by itself; writes into `folder`.
    const char* (*works)(const char* folder);
    /// "mimalloc" or "libc": what the library allocates from.
    const char* (*allocator)(void);
    /// A block of `new char[bytes]`.
    void* (*makesBlock)(size_t bytes);
    void (*freesBlock)(void* block);
    /// A `std::string` of `new`, which the C++ runtime makes longer.
    void* (*makesText)(void);
    const char* (*growsText)(void* text);
    void (*freesText)(void* text);
    /// Leaves objects of all kinds and a busy thread behind.
    const char* (*leavesMuchAlive)(void);
} ModuleCalls;
