#include "zarnik/values/Indexer.h"
#include "zarnik/core/Error.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <random>
#include <vector>

namespace zarnik {
namespace {

DataType const U16 = DataTypeId::UINT16;

// The bytes of each element, found by walking all indices: the slow way to every count of the indexer.
struct Walked {
  std::vector<int64_t> offsets;
  int64_t first = 0;
  int64_t end = 0;
};

Walked walk(VectorXu64 const & shape, std::vector<int64_t> const & strides, int64_t itemBytes) {
  Walked result{{0}, 0, 0};
  for (size_t axis = 0; axis != shape.size(); ++axis) {
    std::vector<int64_t> next;
    for (auto const offset : result.offsets)
      for (uint64_t i = 0; i != shape[axis]; ++i)
        next.push_back(offset + static_cast<int64_t>(i) * strides[axis]);
    result.offsets = next;
  }
  if (!result.offsets.empty()) {
    result.first = *std::min_element(result.offsets.begin(), result.offsets.end());
    result.end = *std::max_element(result.offsets.begin(), result.offsets.end()) + itemBytes;
  }
  return result;
}

TEST(Indexer, AgreesWithWalkingAllElements) {
  auto const seed = testing::UnitTest::GetInstance()->random_seed();
  SCOPED_TRACE(testing::Message() << "--gtest_random_seed=" << seed);
  std::mt19937 random(static_cast<unsigned>(seed));
  auto const draw = [&random](int low, int high) { return std::uniform_int_distribution<int>(low, high)(random); };
  for (int round = 0; round != 300; ++round) {
    auto const rank = static_cast<size_t>(draw(0, 4));
    VectorXu64 shape(rank);
    VectorXu64 byteStrides(rank);
    std::vector<int64_t> strides(rank);
    for (size_t axis = 0; axis != rank; ++axis) {
      shape[axis] = static_cast<uint64_t>(draw(0, 9) == 0 ? 0 : draw(1, 4));
      strides[axis] = 2 * draw(-12, 12);
      byteStrides[axis] = static_cast<uint64_t>(strides[axis]);
    }
    Indexer const indexer(shape, U16, byteStrides);
    auto const walked = walk(shape, strides, 2);
    EXPECT_EQ(indexer.elementCount(), walked.offsets.size());
    EXPECT_EQ(indexer.byteCount(), static_cast<size_t>(walked.end - walked.first));
    EXPECT_EQ(indexer.firstByteOffset(), walked.first);
    auto sorted = walked.offsets;
    std::sort(sorted.begin(), sorted.end());
    bool isDense = sorted.empty() || sorted.front() == 0;
    for (size_t i = 1; i < sorted.size(); ++i)
      isDense = isDense && sorted[i] == sorted[i - 1] + 2;
    EXPECT_EQ(indexer.isContinuous(), isDense) << shape.toString() << byteStrides.toString();
    for (size_t n = 0; n != walked.offsets.size(); ++n) {
      VectorXu64 index(rank);
      auto rest = n;
      for (auto axis = rank; axis-- != 0; rest /= shape[axis])
        index[axis] = rest % shape[axis];
      ASSERT_EQ(indexer.byteOffset(index), static_cast<size_t>(walked.offsets[n]));
      ASSERT_EQ(indexer.offset(index), static_cast<size_t>(walked.offsets[n] / 2));
    }
  }
}

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
  Indexer const broadcast({big, 2}, U16, VectorXu64{0, 2});
  EXPECT_EQ(broadcast.byteCount(), 4u);
  EXPECT_EQ(broadcast.elementCount(), 2 * big);
  EXPECT_EQ(Indexer({big, 1 << 20}, U16).byteOffset({big - 1, 0}), 2 * (big - 1));
}

} // namespace
} // namespace zarnik
