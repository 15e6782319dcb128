// What C++ alone reaches of values; their arithmetic is tried through Python, against NumPy.
#include "zarnik/core/Error.h"
#include "zarnik/values/ArrayX.h"
#include "zarnik/values/DataType.h"
#include "zarnik/values/ImageType.h"
#include "zarnik/values/Indexer.h"
#include "zarnik/values/RegionX.h"
#include "zarnik/values/Vector.h"
#include "zarnik/values/VectorX.h"

#include <array>
#include <cmath>
#include <gmock/gmock.h>
#include <utility>

namespace zarnik {
namespace {

TEST(DataType, PropertiesThatDoNotFitAreRefused) {
  EXPECT_THROW(DataType(PrimitiveTypeId::UNKNOWN, 8, 256), InvalidArgument);
  EXPECT_THROW(DataType(static_cast<PrimitiveTypeId>(-1), 8, 1), InvalidArgument);
  EXPECT_THROW(DataType(PrimitiveTypeId::UNKNOWN, 8, 1, static_cast<DataTypeInterpretation>(-1)), InvalidArgument);
  EXPECT_EQ(DataType(PrimitiveTypeId::UNSIGNED_INTEGER, 12, 1).toString(),
            "(UNSIGNED_INTEGER, 12 bits, 1 elements, RAW)");
  EXPECT_EQ(DataType().toString(), "UNKNOWN");
}

TEST(ImageType, TakesDimensionsInAnyOrderAndRemovesByNameAndByPosition) {
  using enum ImageDimension;
  std::array const dimensions{SEQUENCE, COLUMN, CHANNEL, COLUMN, ROW};
  EXPECT_EQ(ImageType(dimensions.data(), dimensions.size()), SEQUENCE | (CHANNEL | ROW) | COLUMN);
  auto type = ImageTypeId::IMAGE_SEQUENCE;
  type.remove(size_t{2});
  EXPECT_EQ(type, ImageTypeId::IMAGE);
  type.remove(SLICE);
  EXPECT_EQ(type, ImageTypeId::IMAGE);
  type.remove(COLUMN);
  EXPECT_EQ(type, ImageType() | ROW);
  EXPECT_FALSE(type.has(static_cast<ImageDimension>(5)));
  EXPECT_THROW(type.remove(static_cast<ImageDimension>(-1)), InvalidArgument);
  EXPECT_EQ(ImageType(ROW), ImageType() | ROW);
  EXPECT_THROW(ImageType(static_cast<ImageDimension>(7)), InvalidArgument);
  // The list is not looked at, however long it claims to be.
  EXPECT_THROW(ImageType(dimensions.data(), size_t{1} << 40), InvalidArgument);
}

TEST(Vector, LengthOfExtremesNeitherOverflowsNorVanishes) {
  EXPECT_DOUBLE_EQ((Vector2d{3e200, 4e200}.length()), 5e200);
  EXPECT_DOUBLE_EQ((Vector2d{3e-200, 4e-200}.length()), 5e-200);
  EXPECT_TRUE(std::isinf(Vector2d{INFINITY, 1}.length()));
  EXPECT_TRUE(std::isnan(Vector2d{INFINITY, NAN}.length()));
}

TEST(Vector, TextIsShortestRoundTrip) {
  EXPECT_EQ((Vector3i8{-1, 65, 0}.toString()), "(-1, 65, 0)");
  EXPECT_EQ((Vector2f{0.1f, 1e30f}.toString()), "(0.1, 1e+30)");
  EXPECT_EQ((Vector2d{0.1, 1 / 3.}.toString()), "(0.1, 0.3333333333333333)");
  EXPECT_EQ(VectorXd().toString(), "()");
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

TEST(VectorX, TextOfAnySizeIsShort) {
  EXPECT_EQ(VectorXu8::createUniform(1000000, 7).toString(), "(7, 7, 7, ..., 7, 7, 7)");
  EXPECT_EQ(VectorXu8::createUniform(1000, 7).toString().size(), 3000u);
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

TEST(ArrayX, TextOfAnySizeIsShort) {
  EXPECT_EQ(ArrayX<uint8_t>(VectorXu64{0, 2}).toString(), "(array of shape (0, 2))");
  EXPECT_EQ(ArrayX<uint8_t>(VectorXu64{}).toString(), "0");
  EXPECT_EQ(ArrayX<uint8_t>({2000}).toString(), "(0, 0, 0, ..., 0, 0, 0)");
  EXPECT_LT(ArrayX<uint8_t>({500, 500}).toString().size(), 300u);
  EXPECT_EQ(ArrayX<uint8_t>(VectorXu64::createUniform(100000, 1)).toString().size(), 200001u);
}

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
