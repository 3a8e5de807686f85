#include <atomic>

#include "platform/posix/Services.h"

namespace posix {
namespace {

class AtomicServices final : public iAtomicServices {
public:
    void increment(std::int32_t* counter) override { std::atomic_ref(*counter).fetch_add(1); }
    std::int32_t decrement(std::int32_t* counter) override {
        tellReleased(counter);
        const std::int32_t left = std::atomic_ref(*counter).fetch_sub(1) - 1;
        if (left == 0) tellAcquired(counter);
        return left;
    }
    void* compareExchangePointer(void** target, void* exchange, void* comparand) override {
        tellReleased(target);
        std::atomic_ref(*target).compare_exchange_strong(comparand, exchange);
        tellAcquired(target);
        return comparand;
    }
};

constexpr NeverDestroyed<AtomicServices> services;

}  // namespace

iAtomicServices* const atomicServices = &services.object;

}  // namespace posix
