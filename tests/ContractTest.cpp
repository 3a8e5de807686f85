#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <vector>

#include "Vorn/Exception.h"
#include "Vorn/Vector.h"
#include "platform/platform.h"

namespace {

// The positions of virtual operations, counted from the destructor, which takes two places in the
// table. A pointer to a virtual operation holds its place in bytes, on some machines plus 1.
template <class... Operation>
std::vector<std::size_t> positions(Operation... operations) {
    using Words = std::array<std::size_t, 2>;
    return {std::bit_cast<Words>(operations)[0] / sizeof(void*) - 1 ...};
}

TEST(Contract, OperationsKeepTheirPositions) {
    using S = iSystemServices;
    using M = iMemoryServices;
    using T = iTextServices;
    using C = iCriticalSection;
    using A = iAtomicServices;
    using R = iReclaimable;
    using V = Vector<int>;
    using E = Vorn::Exception::Base;
    const auto found = positions(
        &S::memoryServices, &S::textServices, &S::fileServices, &S::threadServices,
        &S::atomicServices, &S::systemInfo, &S::pathServices, &M::allocate, &M::free, &M::reclaim,
        &M::registerReclaimable, &M::unregisterReclaimable, &T::wideFromAscii, &T::utf8FromWide,
        &T::wideFromUtf8, &T::nowMilliseconds, &iFileServices::openFile,
        &iFileServices::pathSeparator, &iFile::read, &iFile::write, &iFile::size,
        &iThreadServices::createCriticalSection, &iThreadServices::currentThreadId, &C::enter,
        &C::tryEnter, &C::leave, &A::increment, &A::decrement, &A::compareExchangePointer,
        &iSystemInfo::getNumProcessors, &iPathServices::getFolderPath, &R::reclaimableBytes,
        &R::reclaim, &R::reclaimAll, &E::what, &E::msg, &E::file, &E::line, &V::add, &V::push_back,
        &V::locate, &V::intern, &V::insert, &V::removeIdx, &V::remove, &V::removeItem, &V::clear,
        &V::consume);
    EXPECT_EQ(found,
              (std::vector<std::size_t>{1,  2,  3, 4, 5,  8, 11, 1, 3, 4, 6, 7, 1, 3, 4, 5,
                                        12, 33, 1, 5, 13, 1, 9,  1, 2, 3, 1, 2, 6, 1, 4, 1,
                                        2,  3,  1, 2, 3,  4, 1,  2, 3, 4, 5, 6, 7, 8, 9, 10}));
}

}  // namespace
