// Failures and time: the base of objects that can give memory back.
#pragma once

#include "platform/Export.h"
#include "platform/iReclaimable.h"

/// Registers itself with the memory services for as long as it lives, so that they can ask it to
/// give memory back. A copy is an object of its own and registers itself. May be constructed and
/// destroyed on any thread, but not while the application is reclaiming memory. An exception while
/// registering passes to the creator; an exception while unregistering ends the process.
class VORN_EXPORT Reclaimable : public iReclaimable {
public:
    Reclaimable();
    Reclaimable(const Reclaimable&);
    Reclaimable& operator=(const Reclaimable&) = default;
    ~Reclaimable() override;

    std::size_t reclaimableBytes() override = 0;
    std::size_t reclaim(std::size_t bytes) override = 0;
    std::size_t reclaimAll() override = 0;
};
