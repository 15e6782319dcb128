#include "zarnik/values/ImageType.h"
#include "zarnik/core/Error.h"

#include <array>
#include <gmock/gmock.h>

namespace zarnik {
namespace {

using enum ImageDimension;

TEST(ImageType, KeepsCanonicalOrderWhateverTheOrderOfAdding) {
  std::array const dimensions{SEQUENCE, COLUMN, CHANNEL, COLUMN, ROW};
  ImageType const type(dimensions.data(), dimensions.size());
  EXPECT_EQ(type, ImageTypeId::MULTISPECTRAL_IMAGE_SEQUENCE);
  EXPECT_EQ(type, SEQUENCE | (CHANNEL | ROW) | COLUMN);
  EXPECT_EQ(type.toString(), "(COLUMN, ROW, CHANNEL, SEQUENCE)");
  ASSERT_EQ(type.dimensionCount(), 4u);
  std::array const ordered{COLUMN, ROW, CHANNEL, SEQUENCE};
  for (size_t i = 0; i != ordered.size(); ++i) {
    EXPECT_EQ(type.dimension(i), ordered[i]);
    EXPECT_EQ(type.indexDimension(ordered[i]), i);
    EXPECT_TRUE(type.has(ordered[i]));
  }
  EXPECT_FALSE(type.has(SLICE));
}

TEST(ImageType, RemovesByNameAndByPosition) {
  auto type = ImageTypeId::IMAGE_SEQUENCE;
  type.remove(size_t{2});
  EXPECT_EQ(type, ImageTypeId::IMAGE);
  type.remove(SLICE);
  EXPECT_EQ(type, ImageTypeId::IMAGE);
  type.remove(COLUMN);
  EXPECT_EQ(type, ImageType() | ROW);
}

TEST(ImageType, ValueGoesRoundAndOthersAreRefused) {
  for (uint64_t value = 0; value != 32; ++value)
    EXPECT_EQ(ImageType(value).value(), value);
  EXPECT_THROW(ImageType(32), InvalidArgument);
  auto const unknown = static_cast<ImageDimension>(5);
  EXPECT_FALSE(ImageTypeId::MULTISPECTRAL_VOLUME_SEQUENCE.has(unknown));
  ImageType type;
  EXPECT_THROW(type.add(unknown), InvalidArgument);
  EXPECT_THROW(type.remove(static_cast<ImageDimension>(-1)), InvalidArgument);
  EXPECT_THROW(type.dimension(0), InvalidArgument);
  EXPECT_THAT([] { ImageTypeId::IMAGE.indexDimension(SLICE); },
              testing::ThrowsMessage<InvalidArgument>("image type (COLUMN, ROW) has no dimension SLICE"));
}

} // namespace
} // namespace zarnik
