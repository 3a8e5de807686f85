// Platform contract: an object that can give memory back on request.
#pragma once

#include <cstddef>

#include "platform/Export.h"

/// Clients implement it through `Reclaimable`; `iMemoryServices::reclaim` calls it on its caller's
/// thread.
class VORN_EXPORT iReclaimable {
public:
    virtual ~iReclaimable() = default;

    /// How many bytes `reclaimAll` could give back now.
    virtual std::size_t reclaimableBytes() = 0;
    /// Gives back at least `bytes` bytes if possible; returns how many were given back.
    virtual std::size_t reclaim(std::size_t bytes) = 0;
    /// Gives back everything that can be spared; returns how many bytes that were.
    virtual std::size_t reclaimAll() = 0;
};
