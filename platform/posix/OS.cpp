#include "platform/OS.h"

#include "platform/posix/Services.h"

namespace {

class SystemServices final : public iSystemServices {
public:
    iMemoryServices* memoryServices() override { return posix::memoryServices; }
    iTextServices* textServices() override { return posix::textServices; }
    iFileServices* fileServices() override { return posix::fileServices; }
    iThreadServices* threadServices() override { return posix::threadServices; }
    iAtomicServices* atomicServices() override { return posix::atomicServices; }
    iSystemInfo* systemInfo() override { return posix::systemInfo; }
    iPathServices* pathServices() override { return posix::pathServices; }
};

constexpr posix::NeverDestroyed<SystemServices> services;

}  // namespace

iSystemServices* OS() {
    return &services.object;
}
