// What C++ alone reaches of values; their arithmetic is tried through Python, against NumPy.
#include "zarnik/core/Error.h"
#include "zarnik/values/ArrayX.h"
#include "zarnik/values/ImageType.h"
#include "zarnik/values/RegionX.h"

#include <array>
#include <gmock/gmock.h>
#include <utility>

namespace zarnik {
namespace {

TEST(DataType, PropertiesThatDoNotFitAreRefused) {
  EXPECT_THROW(DataType(PrimitiveTypeId::UNKNOWN, 8, 256), InvalidArgument);
  EXPECT_THROW(DataType(static_cast<PrimitiveTypeId>(-1), 8, 1), InvalidArgument);
  EXPECT_THROW(DataType(PrimitiveTypeId::UNKNOWN, 8, 1, static_cast<DataTypeInterpretation>(-1)), InvalidArgument);
}

TEST(ImageType, TakesDimensionsInAnyOrderAndRemovesByNameAndByPosition) {
  using enum ImageDimension;
  std::array const dimensions{SEQUENCE, COLUMN, CHANNEL, COLUMN, ROW};
  EXPECT_EQ(ImageType(dimensions.data(), dimensions.size()), SEQUENCE | (CHANNEL | ROW) | COLUMN);
  auto type = ImageTypeId::IMAGE_SEQUENCE;
  type.remove(size_t{2});
  EXPECT_EQ(type, ImageTypeId::IMAGE);
  type.remove(COLUMN);
  EXPECT_EQ(type, ImageType(ROW));
  EXPECT_FALSE(type.has(static_cast<ImageDimension>(5)));
  EXPECT_THROW(type.remove(static_cast<ImageDimension>(-1)), InvalidArgument);
  EXPECT_THROW(ImageType(static_cast<ImageDimension>(7)), InvalidArgument);
  // The list is not looked at, however long it claims to be.
  EXPECT_THROW(ImageType(dimensions.data(), size_t{1} << 40), InvalidArgument);
}

// Six components are stored inside, seven outside: copies and moves between all sizes around the border.
TEST(VectorX, CopiesAndMovesAcrossTheStorageBorder) {
  for (size_t from = 0; from != 10; ++from)
    for (size_t to = 0; to != 10; ++to) {
      auto const source = VectorXu64::createUniform(from, 7);
      VectorXu64 copied(to);
      copied = source;
      EXPECT_EQ(copied, source);
      VectorXu64 moved(to);
      moved = std::move(copied);
      EXPECT_EQ(moved, source);
      EXPECT_EQ(copied.size(), 0u); // NOLINT(bugprone-use-after-move): the state left is part of the contract
      auto & self = moved;
      moved = self;
      EXPECT_EQ(VectorXu64(std::move(moved)), source);
    }
}

// Layouts, reshaping and refusals are tested through Python, against NumPy.
TEST(ArrayX, MovedFromIsWithoutElements) {
  ArrayX<float> source({2, 2});
  source.setAt({1, 1}, 0.1f);
  auto const moved = std::move(source);
  EXPECT_EQ(moved.at({1, 1}), 0.1f);
  EXPECT_EQ(moved.data()[3], 0.1f);
  EXPECT_EQ(source.shape().size(), 0u); // NOLINT(bugprone-use-after-move): the state left is part of the contract
  EXPECT_THROW((void)source.at({}), InvalidArgument);
  EXPECT_EQ(ArrayX<float>(source), source);
  source = moved;
  EXPECT_EQ(source, moved);
}

} // namespace
} // namespace zarnik
