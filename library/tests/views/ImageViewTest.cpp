#include "views/ForeignImage.h"
#include "views/Samples.h"
#include "zarnik/views/GridTiling.h"
#include "zarnik/views/ImageViewProvider.h"
#include "zarnik/views/SharedSamples.h"

#include <gmock/gmock.h>

// A request that cannot be met is an error of the library, also under the address sanitizer.
extern "C" char const * __asan_default_options();
extern "C" char const * __asan_default_options() { return "allocator_may_return_null=1"; }

namespace zarnik::test {
namespace {

using enum ImageCapability;
using testing::HasSubstr;
using testing::ThrowsMessage;

TEST(MemoryImage, StartsZeroedWithCopiesOfWhatItIsGiven) {
  auto const properties = ImageProperties::fromDataType(DataTypeId::UINT16);
  properties->calibration().setUnit("um");
  auto const metadata = std::make_shared<MetadataNode>("root", nullptr);
  auto const image = ImageViewFactory::allocate({3, 2}, DataTypeId::UINT16, properties, metadata);
  properties->calibration().setUnit("changed");
  metadata->addChild(std::make_shared<MetadataNode>("late", nullptr));
  EXPECT_EQ(image->spatialUnit(), "um");
  EXPECT_EQ(image->metadata()->childCount(), 0u);
  EXPECT_EQ(valuesOf(*image), Bytes(12, 0));
  EXPECT_EQ(ImageViewFactory::allocate({2, 0, 5}, DataTypeId::UINT8)->bufferSize(), 0u);
  EXPECT_EQ(ImageViewFactory::allocate({1, 2, 1, 2, 1, 2}, DataTypeId::UINT8)->axesInterpretation(), ImageType());
}

TEST(MemoryImage, SharedSamplesAreThoseOfOneMoment) {
  auto const image = ImageViewFactory::allocate({4}, DataTypeId::UINT8);
  image->writeRegion(RegionXu64({0}, {4}), "\1\2\3\4");
  auto shared = shareSamples(ImageViewProvider::toReadOnly(image));
  image->reshape({2, 2}, DataTypeId::DOUBLE);
  EXPECT_EQ(shared.indexer.shape(), VectorXu64({4}));
  EXPECT_EQ(std::memcmp(shared.data, "\1\2\3\4", 4), 0);
  std::weak_ptr<void const> const owner = shared.owner;
  shared = {};
  EXPECT_TRUE(owner.expired());
}

TEST(ImageViewProvider, RestrictionsAddUpAndDoNotPileUp) {
  EXPECT_THROW(ImageViewProvider::toWriteOnly(nullptr), InvalidArgument);
  auto view = ImageViewProvider::toReadOnly(ImageViewFactory::allocate({2}, DataTypeId::UINT8));
  EXPECT_EQ(ImageViewProvider::toReadOnly(view), view);
  for (int n = 0; n < 200000; ++n)
    view = n % 2 == 0 ? ImageViewProvider::toReadOnly(view) : ImageViewProvider::toWriteOnly(view);
  EXPECT_EQ(view->shape(), VectorXu64{2});
  EXPECT_LT(view->viewOrigin()->displayName().size(), 100u);
  EXPECT_EQ(view->capabilities().value(), 0u);
  EXPECT_THROW(valuesOf(*view), NotImplemented);
}

TEST(MemoryImage, HasNoMoreDimensionsThanCanBeRead) {
  auto const most = VectorXu64::createUniform(ImageView::MAXIMUM_DIMENSION_COUNT, 1);
  for (auto const type : {DataTypeId::UINT8, DataTypeId::VEC3_FLOAT}) {
    auto const image = ImageViewFactory::allocate(most, type);
    float samples[3];
    image->readRegion(RegionXu64::createFullRegion(most), samples);
    EXPECT_THAT(([&] { image->reshape(VectorXu64::createUniform(129, 1), type); }),
                ThrowsMessage<InvalidArgument>("an image cannot have 129 dimensions, allowed are up to 128"));
    EXPECT_EQ(image->shape(), most);
  }
  EXPECT_THROW(ImageViewFactory::allocate(VectorXu64::createUniform(200, 1), DataTypeId::UINT8), InvalidArgument);
}

/// What others may make: it tells little of itself.
class SilentImage : public ForeignImage {
public:
  using ForeignImage::ForeignImage;
  std::shared_ptr<ImageProperties const> properties() const override { return nullptr; }
  std::shared_ptr<MetadataNode const> metadata() const override { return nullptr; }
};

TEST(ImageView, OfOthersMayTellNoPropertiesAndKnowRegionsOnly) {
  SilentImage image({3, 2}, DataTypeId::UINT16, READ_WRITE);
  EXPECT_THROW((void)image.spatialSpacing(), Error);
  EXPECT_THROW(image.setSpatialUnit("mm"), Error);
  EXPECT_THAT(image.toString(), HasSubstr("shape (3, 2)"));
  uint16_t const written = 77;
  image.write({2, 1}, &written);
  uint16_t read = 0;
  image.read({2, 1}, &read);
  EXPECT_EQ(read, written);
  EXPECT_THROW(image.read({3, 1}, &read), InvalidArgument);
  EXPECT_THROW(image.read({1}, &read), InvalidArgument);
}

TEST(GridTiling, RefusesSizesThatDoNotFit) {
  auto const image = ImageViewFactory::allocate({10, 7}, DataTypeId::UINT8);
  EXPECT_THROW(GridTiling(image, {4, 0}), InvalidArgument);
  EXPECT_THROW(GridTiling(image, {4}), InvalidArgument);
}

} // namespace
} // namespace zarnik::test
