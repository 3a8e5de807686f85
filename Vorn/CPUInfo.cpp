#include "Vorn/CPUInfo.h"

#include <atomic>

#include "platform/OS.h"
#include "platform/iSystemInfo.h"

namespace Vorn::CPUInfo {

unsigned getNumProcessors() {
    static constinit std::atomic<unsigned> numProcessors{0};
    unsigned known = numProcessors.load(std::memory_order_relaxed);
    if (known == 0) {
        known = OS()->systemInfo()->getNumProcessors();
        if (known != 0) numProcessors.store(known, std::memory_order_relaxed);
    }
    return known;
}

}  // namespace Vorn::CPUInfo
