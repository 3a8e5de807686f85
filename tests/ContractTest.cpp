#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <vector>

#include "Vorn/Exception.h"
#include "platform/platform.h"

namespace {

// The positions of virtual operations, counted from the destructor, which takes two places in the
// table. A pointer to a virtual operation holds its place in bytes, on some machines plus 1.
template <class... Operation>
std::vector<std::size_t> positions(Operation... operations) {
    using Words = std::array<std::size_t, 2>;
    return {std::bit_cast<Words>(operations)[0] / sizeof(void*) - 1 ...};
}

// Of neighbours the last one tells.
TEST(Contract, OperationsKeepTheirPositions) {
    EXPECT_EQ(positions(&iSystemServices::atomicServices, &iSystemServices::systemInfo,
                        &iSystemServices::pathServices, &iMemoryServices::free,
                        &iMemoryServices::unregisterReclaimable, &iTextServices::utf8FromWide,
                        &iTextServices::nowMilliseconds, &iFileServices::openFile,
                        &iFileServices::pathSeparator, &iFile::write, &iFile::size,
                        &iThreadServices::currentThreadId, &iCriticalSection::leave,
                        &iAtomicServices::compareExchangePointer, &iPathServices::getFolderPath,
                        &iReclaimable::reclaimAll, &Vorn::Exception::Base::line),
              (std::vector<std::size_t>{5, 8, 11, 3, 7, 3, 5, 12, 33, 5, 13, 9, 3, 6, 4, 3, 4}));
}

}  // namespace
