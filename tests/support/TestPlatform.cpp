#include "tests/support/TestPlatform.h"

namespace {

struct SystemServices : iSystemServices {
    iMemoryServices* memoryServices() override { return test::installedOr(posix::memoryServices); }
    iTextServices* textServices() override { return test::installedOr(posix::textServices); }
    iFileServices* fileServices() override { return test::installedOr(posix::fileServices); }
    iThreadServices* threadServices() override { return test::installedOr(posix::threadServices); }
    iAtomicServices* atomicServices() override { return test::installedOr(posix::atomicServices); }
    iSystemInfo* systemInfo() override { return test::installedOr(posix::systemInfo); }
    iPathServices* pathServices() override { return test::installedOr(posix::pathServices); }
};

constexpr posix::NeverDestroyed<SystemServices> services;

}  // namespace

VORN_EXPORT iSystemServices* OS() {
    return &services.object;
}
