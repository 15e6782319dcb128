#include "views/ForeignImage.h"
#include "views/Samples.h"
#include "zarnik/views/ImageViewProvider.h"
#include "zarnik/views/LinearValues.h"
#include "zarnik/views/MultiImageView.h"
#include "zarnik/views/MultiImageViewFactory.h"

#include <gmock/gmock.h>

namespace zarnik::test {
namespace {

using Factory = ImageViewFactory;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::ThrowsMessage;
using enum ImageCapability;
using enum ImageDimension;

template <typename T> Image imageOf(std::vector<T> const & values) {
  auto const image = Factory::allocate({values.size()}, dataTypeIdOf<T>);
  std::ranges::copy(values, static_cast<T *>(image->buffer()));
  return image;
}

std::shared_ptr<MultiImageView> setOf(std::vector<Image> const & images) {
  return MultiImageViewFactory::createFromList(images.data(), images.size());
}

TEST(Adapters, SeveralConversionsIntoTheImagesOwnMemoryReadBeforeTheyWrite) {
  constexpr size_t COUNT = 100000, SHIFT = 5000;
  auto const twice = [](Image const & image) {
    return Factory::adaptDynamicRange(Factory::adaptDynamicRange(image, DataTypeId::INT16, {0, 255}, {0, 77}),
                                      DataTypeId::UINT8, {0, 77}, {200, 0});
  };
  for (bool const ahead : {true, false}) {
    Bytes values(COUNT);
    for (size_t n = 0; n < COUNT; ++n)
      values[n] = static_cast<uint8_t>(n * n / 7);
    auto const image = imageOf(values);
    auto const view = twice(image);
    auto const expected = valuesOf(*view);
    auto * const memory = static_cast<uint8_t *>(image->buffer());
    size_t const from = ahead ? 0 : SHIFT, to = ahead ? SHIFT : 0;
    view->readRegion({{from}, {COUNT - SHIFT}}, memory + to);
    EXPECT_TRUE(std::equal(memory + to, memory + to + COUNT - SHIFT, expected.begin() + static_cast<ptrdiff_t>(from)));
  }
}

TEST(Adapters, LargeRegionsOfForeignImagesTakeBoundedBlocks) {
  auto const foreign = std::make_shared<ForeignImage>(VectorXu64{1000, 1000, 6}, DataTypeId::UINT16, READ | WRITE);
  auto * const samples = static_cast<uint16_t *>(foreign->samples()->buffer());
  for (size_t n = 0; n < 6'000'000; ++n)
    samples[n] = static_cast<uint16_t>(n * 7919);
  auto const view =
      Factory::adaptDataType(Factory::flip(Factory::everyNth(foreign, {3, 7, 2}), ROW), DataTypeId::FLOAT);
  auto const values = valuesOf<float>(*view);
  ASSERT_EQ(view->shape(), (VectorXu64{334, 143, 3}));
  for (size_t z = 0, n = 0; z < 3; ++z)
    for (size_t y = 0; y < 143; ++y)
      for (size_t x = 0; x < 334; ++x, ++n)
        ASSERT_EQ(values[n], samples[3 * x + 1000 * (7 * (142 - y) + 1000 * 2 * z)]);
  EXPECT_LE(foreign->elementsRead, 1000u * 143 * 5); // rows in between are left out
  std::vector<float> const ones(values.size(), 1);
  view->writeRegion(whole(*view), ones.data());
  for (size_t n = 0; n < 6'000'000; ++n) {
    bool const isWritten = n % 1000 % 3 == 0 && n / 1000 % 1000 % 7 == 0 && n / 1'000'000 % 2 == 0;
    ASSERT_EQ(samples[n], isWritten ? 1 : static_cast<uint16_t>(n * 7919)) << n;
  }
}

TEST(Adapters, ChainsAreFlatAndTellTheirStory) {
  Image image = imageOf<uint8_t>({1, 2, 3});
  for (int n = 0; n < 100'001; ++n)
    image = Factory::flip(image, COLUMN);
  EXPECT_THAT(valuesOf(*image), ElementsAre(3, 2, 1));
  image = Factory::fromImageView(ImageViewProvider::toReadOnly(image), nullptr, nullptr);
  for (int n = 0; n < 100'000; ++n)
    image = Factory::makeThreadSafe(Factory::fromImageView(ImageViewProvider::toReadOnly(image), nullptr, nullptr));
  EXPECT_THAT(valuesOf(*image), ElementsAre(3, 2, 1));
  EXPECT_LT(image->toString().size(), 1000u);

  auto const source = Factory::allocate({8, 6}, DataTypeId::UINT16);
  auto const view =
      Factory::adaptDataType(Factory::flip(Factory::extractRegion(source, {{1, 2}, {5, 3}}), ROW), DataTypeId::FLOAT);
  EXPECT_EQ(view->toString(), "ImageView(shape (5, 3), FLOAT, (COLUMN, ROW), READ | WRITE, image in memory, cropped to "
                              "(5, 3) from (1, 2), flipped along ROW, converted to FLOAT)");
}

TEST(Adapters, SetsWithinSetsHaveALimit) {
  Image image = Factory::allocate({1}, DataTypeId::UINT8);
  auto const nest = [&] {
    for (int n = 0; n < 1000; ++n)
      image =
          Factory::flip(Factory::extractAdjustedRegion(Factory::stack(setOf({image}), ROW), {{0, 0}, {1, 1}}), COLUMN);
  };
  EXPECT_THAT(nest, ThrowsMessage<InvalidArgument>(HasSubstr("101 sets of images within each other")));
  EXPECT_EQ(valuesOf(*image), Bytes{0});
}

TEST(Adapters, RefuseToReadAnImageThatWasReshaped) {
  auto const image = Factory::allocate({100, 100}, DataTypeId::UINT8);
  auto const view = Factory::flip(image, ROW);
  image->reshape({2, 2}, DataTypeId::UINT8);
  Bytes scratch(10000);
  auto const reshaped = ThrowsMessage<Error>(HasSubstr("was reshaped since, from shape (100, 100)"));
  EXPECT_THAT([&] { view->readRegion(RegionXu64::createFullRegion({100, 100}), scratch.data()); }, reshaped);
  EXPECT_THAT([&] { view->buffer(); }, reshaped);
}

TEST(Adapters, ThreadSafeViewsOfAnythingCanBeSharedByThreads) {
  auto const foreign = std::make_shared<ForeignImage>(VectorXu64{64, 64}, DataTypeId::VEC3_UINT8, READ | WRITE);
  auto const safe = Factory::makeThreadSafe(foreign);
  EXPECT_EQ(Factory::makeThreadSafe(safe), safe);
  EXPECT_EQ(safe->capabilities(), foreign->capabilities());
  // Each of the threads writes one channel: all of them share the samples.
  onThreads(3, [&](size_t channel) {
    auto const view = Factory::extractChannel(safe, channel);
    for (uint64_t row = 0; row < 64; ++row)
      view->writeRegion({{0, row}, {64, 1}}, Bytes(64, static_cast<uint8_t>(channel + 1)).data());
  });
  auto const written = valuesOf(*safe);
  for (size_t n = 0; n < written.size(); ++n)
    ASSERT_EQ(written[n], n % 3 + 1) << n;
}

TEST(Adapters, FailureOfOneFrameIsTheFailureOfTheStack) {
  std::vector<Image> frames;
  for (int n = 0; n < 20; ++n)
    frames.push_back(Factory::allocate({8, 8}, DataTypeId::UINT8));
  auto const stack = Factory::stack(setOf(frames), SEQUENCE, 4);
  EXPECT_EQ(stack->shape(), (VectorXu64{8, 8, 20}));
  frames[7]->reshape({2, 2}, DataTypeId::UINT8);
  EXPECT_THAT([&] { valuesOf(*stack); }, ThrowsMessage<Error>(HasSubstr("frame 7 was reshaped")));
  auto const rest = Factory::extractRegion(stack, {{0, 0, 8}, {8, 8, 12}});
  EXPECT_EQ(valuesOf(*rest), Bytes(8 * 8 * 12, 0));
}

} // namespace
} // namespace zarnik::test
