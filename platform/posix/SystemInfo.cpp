#include <thread>

#include "platform/posix/Services.h"

namespace posix {
namespace {

class SystemInfo final : public iSystemInfo {
public:
    unsigned getNumProcessors() override { return std::thread::hardware_concurrency(); }
};

constexpr NeverDestroyed<SystemInfo> services;

}  // namespace

iSystemInfo* const systemInfo = &services.object;

}  // namespace posix
