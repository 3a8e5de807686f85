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
    using All = std::vector<std::size_t>;
    using S = iSystemServices;
    using V = Vector<int>;
    using Vorn::Exception::Base;
    EXPECT_EQ(positions(&S::memoryServices, &S::textServices, &S::fileServices, &S::threadServices,
                        &S::atomicServices, &S::systemInfo, &S::pathServices),
              (All{1, 2, 3, 4, 5, 8, 11}));
    EXPECT_EQ(
        positions(&iMemoryServices::allocate, &iMemoryServices::free, &iMemoryServices::reclaim,
                  &iMemoryServices::registerReclaimable, &iMemoryServices::unregisterReclaimable),
        (All{1, 3, 4, 6, 7}));
    EXPECT_EQ(positions(&iTextServices::wideFromAscii, &iTextServices::utf8FromWide,
                        &iTextServices::wideFromUtf8, &iTextServices::nowMilliseconds,
                        &iFileServices::openFile, &iFileServices::pathSeparator, &iFile::read,
                        &iFile::write, &iFile::size, &iPathServices::getFolderPath),
              (All{1, 3, 4, 5, 12, 33, 1, 5, 13, 4}));
    EXPECT_EQ(positions(&iThreadServices::createCriticalSection, &iThreadServices::currentThreadId,
                        &iCriticalSection::enter, &iCriticalSection::tryEnter,
                        &iCriticalSection::leave, &iAtomicServices::increment,
                        &iAtomicServices::decrement, &iAtomicServices::compareExchangePointer),
              (All{1, 9, 1, 2, 3, 1, 2, 6}));
    EXPECT_EQ(positions(&iSystemInfo::getNumProcessors, &iReclaimable::reclaimableBytes,
                        &iReclaimable::reclaim, &iReclaimable::reclaimAll, &Base::what, &Base::msg,
                        &Base::file, &Base::line),
              (All{1, 1, 2, 3, 1, 2, 3, 4}));
    EXPECT_EQ(positions(&V::add, &V::push_back, &V::locate, &V::intern, &V::insert, &V::removeIdx,
                        &V::remove, &V::removeItem, &V::clear, &V::consume),
              (All{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
}

}  // namespace
