#include "tests/support/TestPlatform.h"

namespace {

using test::installedOr;

struct SystemServices : iSystemServices {
    iMemoryServices* memoryServices() override { return installedOr(posix::memoryServices); }
    iTextServices* textServices() override { return installedOr(posix::textServices); }
    iFileServices* fileServices() override { return installedOr(posix::fileServices); }
    iThreadServices* threadServices() override { return installedOr(posix::threadServices); }
    iAtomicServices* atomicServices() override { return installedOr(posix::atomicServices); }
    iSystemInfo* systemInfo() override { return installedOr(posix::systemInfo); }
    iPathServices* pathServices() override { return installedOr(posix::pathServices); }
};

constexpr posix::NeverDestroyed<SystemServices> services;

}  // namespace

VORN_EXPORT iSystemServices* OS() {
    return &services.object;
}
