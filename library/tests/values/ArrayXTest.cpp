#include "zarnik/values/ArrayX.h"
#include "zarnik/core/Error.h"

#include <gmock/gmock.h>
#include <utility>

namespace zarnik {
namespace {

ArrayX<int16_t> ramp(Indexer const & indexer) {
  ArrayX<int16_t> array(indexer);
  int16_t value = 0;
  for (uint64_t row = 0; row != indexer.shape(0); ++row)
    for (uint64_t column = 0; column != indexer.shape(1); ++column)
      array.setAt({row, column}, value++);
  return array;
}

DataType const I16 = DataTypeId::INT16;

TEST(ArrayX, LayoutDecidesTheBufferAndNotTheValues) {
  auto const c = ramp(Indexer({2, 3}, I16, MemoryLayout::C));
  auto const fortran = ramp(Indexer({2, 3}, I16));
  auto const padded = ramp(Indexer({2, 3}, I16, VectorXu64{2, 8}));
  EXPECT_THAT(std::vector<int16_t>(c.data(), c.data() + 6), testing::ElementsAre(0, 1, 2, 3, 4, 5));
  EXPECT_THAT(std::vector<int16_t>(fortran.data(), fortran.data() + 6), testing::ElementsAre(0, 3, 1, 4, 2, 5));
  EXPECT_EQ(c, fortran);
  EXPECT_EQ(c, padded);
  EXPECT_EQ(c.toString(), "((0, 1, 2), (3, 4, 5))");
  auto changed = padded;
  changed.setAt({1, 2}, -1);
  EXPECT_NE(c, changed);
  EXPECT_EQ(padded.at({1, 2}), 5);
  EXPECT_NE(c, ArrayX<int16_t>(VectorXu64{3, 2}));
}

TEST(ArrayX, ReshapeKeepsTheMemoryOrder) {
  auto c = ramp(Indexer({2, 3}, I16, MemoryLayout::C));
  c.reshape({3, 2});
  EXPECT_EQ(c.toString(), "((0, 1), (2, 3), (4, 5))");
  auto fortran = ramp(Indexer({2, 3}, I16));
  fortran.reshape({6});
  EXPECT_EQ(fortran.toString(), "(0, 3, 1, 4, 2, 5)");
  EXPECT_THAT([&] { fortran.reshape({4}); },
              testing::ThrowsMessage<InvalidArgument>("an array of 6 elements cannot take shape (4), which has 4"));
  EXPECT_EQ(fortran.shape(), VectorXu64{6});
  auto padded = ramp(Indexer({2, 3}, I16, VectorXu64{2, 8}));
  EXPECT_THROW(padded.reshape({6}), InvalidArgument);
}

TEST(ArrayX, RefusesLayoutsBeyondItsBuffer) {
  EXPECT_THROW(ArrayX<int16_t>(Indexer({2}, DataTypeId::UINT16)), InvalidArgument);
  EXPECT_THROW(ArrayX<int16_t>(Indexer({2}, I16, VectorXu64{uint64_t(-2)})), InvalidArgument);
  EXPECT_THROW(ArrayX<int16_t>(Indexer({2}, I16, VectorXu64{3})), InvalidArgument);
  EXPECT_THROW(ArrayX<int16_t>({1, 2}).at({1, 0}), InvalidArgument);
  EXPECT_THROW(ArrayX<int16_t>({0, 2}).at({0, 0}), InvalidArgument);
  EXPECT_THAT(
      [] {
        ArrayX<double>({uint64_t{1} << 40, uint64_t{1} << 19});
      },
      testing::ThrowsMessage<Error>(testing::HasSubstr("cannot allocate 4611686018427387904 bytes")));
}

TEST(ArrayX, MovedFromIsWithoutElements) {
  ArrayX<float> source({2, 2});
  source.setAt({1, 1}, 0.1f);
  auto const moved = std::move(source);
  EXPECT_EQ(moved.at({1, 1}), 0.1f);
  EXPECT_EQ(source.shape().size(), 0u); // NOLINT(bugprone-use-after-move): the state left is part of the contract
  EXPECT_THROW((void)source.at({}), InvalidArgument);
  EXPECT_EQ(ArrayX<float>(source), source);
  source = moved;
  EXPECT_EQ(source, moved);
}

TEST(ArrayX, TextOfAnySizeIsShort) {
  EXPECT_EQ(ArrayX<uint8_t>(VectorXu64{0, 2}).toString(), "(array of shape (0, 2))");
  EXPECT_EQ(ArrayX<uint8_t>(VectorXu64{}).toString(), "0");
  EXPECT_EQ(ArrayX<uint8_t>({2000}).toString(), "(0, 0, 0, ..., 0, 0, 0)");
  EXPECT_LT(ArrayX<uint8_t>({500, 500}).toString().size(), 300u);
  EXPECT_EQ(ArrayX<uint8_t>(VectorXu64::createUniform(100000, 1)).toString().size(), 200001u);
}

} // namespace
} // namespace zarnik
