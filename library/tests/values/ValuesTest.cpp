// What C++ alone reaches of matrices, regions and types; their arithmetic is tested through Python, against NumPy.
#include "zarnik/core/Error.h"
#include "zarnik/values/DataType.h"
#include "zarnik/values/ImageType.h"
#include "zarnik/values/Matrix.h"
#include "zarnik/values/Region.h"
#include "zarnik/values/RegionX.h"

#include <array>
#include <gmock/gmock.h>
#include <utility>

namespace zarnik {
namespace {

TEST(Matrix, IsStoredAndPrintedRowByRow) {
  auto m = Matrix3d::identity();
  m.setAt(2, 0, 0.1);
  EXPECT_EQ(m.data()[2], 0.1);
  EXPECT_EQ(std::as_const(m).data(), m.data());
  EXPECT_EQ(m.toString(), "((1, 0, 0.1), (0, 1, 0), (0, 0, 1))");
}

TEST(Region, EmptyOnesAreIdenticalAtOneOriginAndHaveItForMax) {
  EXPECT_EQ(RegionXu64({1, 2}, {0, 5}), RegionXu64({1, 2}, {3, 0}));
  EXPECT_NE(RegionXu64({1, 2}, {0, 5}), RegionXu64({1, 3}, {0, 5}));
  EXPECT_EQ(Region2u64({2, 3}, {4, 0}).max(), (Vector2u64{2, 3}));
  EXPECT_EQ(RegionXu64({2, 3}, {4, 0}).max(), (VectorXu64{2, 3}));
}

TEST(DataType, PropertiesThatDoNotFitAreRefused) {
  EXPECT_THROW(DataType(PrimitiveTypeId::UNKNOWN, 8, 256), InvalidArgument);
  EXPECT_THROW(DataType(static_cast<PrimitiveTypeId>(-1), 8, 1), InvalidArgument);
  EXPECT_THROW(DataType(PrimitiveTypeId::UNKNOWN, 8, 1, static_cast<DataTypeInterpretation>(-1)), InvalidArgument);
  EXPECT_EQ(DataType(PrimitiveTypeId::UNSIGNED_INTEGER, 12, 1).toString(),
            "(UNSIGNED_INTEGER, 12 bits, 1 elements, RAW)");
  EXPECT_EQ(DataType().toString(), "UNKNOWN");
}

TEST(DataType, NumericTypesOfOneShapeAreConvertible) {
  EXPECT_TRUE(DataType(DataTypeId::VEC3_INT16).isConvertibleTo(DataTypeId::VEC3_FLOAT));
  EXPECT_TRUE(DataType().isConvertibleTo(DataType()));
  EXPECT_FALSE(DataType(DataTypeId::VEC2_FLOAT).isConvertibleTo(DataTypeId::COMPLEX_FLOAT));
  EXPECT_FALSE(DataType(DataTypeId::UTF8_STRING).isConvertibleTo(DataTypeId::UINT8));
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

} // namespace
} // namespace zarnik
