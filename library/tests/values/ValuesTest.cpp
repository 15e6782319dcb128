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

} // namespace
} // namespace zarnik
