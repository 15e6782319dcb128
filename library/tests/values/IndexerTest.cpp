#include "zarnik/values/Indexer.h"
#include "zarnik/core/Error.h"

#include <gmock/gmock.h>

namespace zarnik {
namespace {

DataType const U16 = DataTypeId::UINT16;

// The addresses of any layout are tested through Python, against NumPy.
TEST(Indexer, WithoutAShapeHasNoElement) {
  EXPECT_THROW(Indexer().byteOffset({}), InvalidArgument);
  EXPECT_EQ(Indexer({}, U16).byteOffset({}), 0u);
  EXPECT_EQ(Indexer({4, 3}, U16, MemoryLayout::UNKNOWN), Indexer({4, 3}, U16, MemoryLayout::FORTRAN));
}

TEST(Indexer, SizesPast63BitsAreRefused) {
  auto const big = uint64_t{1} << 32;
  EXPECT_THROW(Indexer({big, big}, U16), InvalidArgument);
  EXPECT_THROW(Indexer({big, big}, U16, VectorXu64{0, 0}), InvalidArgument);
  EXPECT_THROW(Indexer({big, 2}, U16, VectorXu64{big, ~big}), InvalidArgument);
  EXPECT_EQ(Indexer({3, 2}, U16, VectorXu64{2, uint64_t{0} - 6}).firstByteOffset(), -6);
  Indexer const broadcast({big, 2}, U16, VectorXu64{0, 2});
  EXPECT_EQ(broadcast.byteCount(), 4u);
  EXPECT_EQ(broadcast.elementCount(), 2 * big);
  EXPECT_EQ(Indexer({big, 1 << 20}, U16).byteOffset({big - 1, 0}), 2 * (big - 1));
}

} // namespace
} // namespace zarnik
