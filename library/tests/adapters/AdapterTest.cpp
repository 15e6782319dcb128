#include "adapters/AdapterSources.h"
#include "zarnik/metadata/SpatialCalibrationProperty.h"
#include "zarnik/views/LinearValues.h"
#include "zarnik/views/MultiImageView.h"
#include "zarnik/views/MultiImageViewFactory.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <limits>
#include <thread>

namespace zarnik::test {
namespace {

using Factory = ImageViewFactory;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::ThrowsMessage;
using enum ImageCapability;
using enum ImageDimension;

constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();
constexpr double INFINITE = std::numeric_limits<double>::infinity();

template <typename T> Image imageOf(std::vector<T> const & values) {
  auto const image = Factory::allocate({values.size()}, dataTypeIdOf<T>);
  std::ranges::copy(values, static_cast<T *>(image->buffer()));
  return image;
}

std::shared_ptr<MultiImageView> setOf(std::vector<Image> const & images) {
  return MultiImageViewFactory::createFromList(images.data(), images.size());
}

// Texts that tests of the module do not show.
TEST(Adapters, RefuseWhatDoesNotFitAndSayWhy) {
  auto const refused = [](auto make, char const * text) {
    EXPECT_THAT(make, ThrowsMessage<InvalidArgument>(HasSubstr(text)));
  };
  auto const image = Factory::allocate({4, 3}, DataTypeId::UINT8);
  auto const vectors = Factory::allocate({4, 3}, DataTypeId::VEC3_UINT8);
  refused([&] { Factory::extractRegion(image, {{2, 0}, {3, 1}}); }, "exceeds the image shape (4, 3) on axis 0");
  refused([&] { Factory::extractRegion(image, {{2}, {1}}); }, "2 dimensions");
  refused([&] { Factory::everyNth(image, {1, 0}); }, "step 0 along ROW");
  refused([&] { Factory::flip(image, SLICE); }, "no dimension SLICE, its axes are (COLUMN, ROW)");
  refused([&] { Factory::reinterpret(image, ImageTypeId::VOLUME); }, "3 dimensions, the image has 2");
  ImageDimension const row = ROW;
  refused([&] { Factory::reinterpretAxes(image, &row, 1); }, "1 dimensions, the image has 2");
  refused([&] { Factory::extractChannel(vectors, 3); }, "channel 3 is not below the number of channels 3");
  refused([&] { Factory::extractChannel(image, 1); }, "channel 1");
  refused([&] { Factory::assembleChannels(image); }, "no dimension CHANNEL");
  refused([&] { Factory::adaptDataType(vectors, DataTypeId::FLOAT); }, "VEC3_UINT8");
  refused([&] { Factory::adaptDynamicRange(image, DataTypeId::FLOAT, {0, NOT_A_NUMBER}, {0, 1}); }, "input range");
  refused([&] { Factory::adaptDynamicRange(image, DataTypeId::FLOAT, {0, 1}, {0, INFINITE}); }, "output range");
  refused([&] { Factory::adaptDynamicRange(image, DataTypeId::FLOAT, {0, 1e-300}, {0, 1e300}); }, "not finite");
  refused([&] { mapLinearly(image, DataTypeId::FLOAT, {NOT_A_NUMBER, 0}); }, "not finite");
  refused([] { Factory::stack(setOf({})); }, "no frames");
  auto const taller = Factory::allocate({4, 4}, DataTypeId::UINT8), other = Factory::allocate({4, 3}, DataTypeId::INT8);
  refused([&] { Factory::stack(setOf({image, taller})); }, "frame 1 has shape (4, 4), frame 0 has (4, 3)");
  refused([&] { Factory::stack(setOf({image, image, vectors})); }, "frame 2 has type VEC3_UINT8, frame 0 has UINT8");
  refused([&] { Factory::interlace(setOf({image, other})); }, "type INT8");
}

TEST(Adapters, ConvertAndMapValues) {
  auto const values = imageOf<double>({-300, 1.5, 2.5, 254.5, INFINITE, NOT_A_NUMBER});
  auto const bytes = Factory::adaptDataType(values, DataTypeId::UINT8);
  EXPECT_EQ(valuesOf(*bytes), (Bytes{0, 2, 2, 254, 255, 0}));
  EXPECT_EQ(bytes->valueRange(), (Vector2d{0, 1}));
  EXPECT_EQ(bytes->bitDepth(), 8u);

  auto const counts = imageOf<uint16_t>({0, 1000, 4000});
  counts->setBitDepth(12);
  EXPECT_EQ(Factory::adaptDataType(counts, DataTypeId::UINT32)->bitDepth(), 12u);
  auto const mapped = Factory::adaptDynamicRange(counts, DataTypeId::FLOAT, {0, 2000}, {0, 1});
  EXPECT_THAT(valuesOf<float>(*mapped), ElementsAre(0, 0.5F, 2)); // no clamping
  float const quarter = 0.25F;
  mapped->write({1}, &quarter);
  EXPECT_THAT(valuesOf<uint16_t>(*counts), ElementsAre(0, 500, 4000));

  auto const constant = Factory::adaptDynamicRange(counts, DataTypeId::UINT8, {0, 1}, {7, 7});
  EXPECT_EQ(valuesOf(*constant), Bytes(3, 7));
  EXPECT_EQ(constant->capabilities(), ImageCapabilitySet(READ)); // the way back is not known

  // A product and a sum, each rounded, and what becomes of the value range, which a negative scale turns around.
  auto const scaled = mapLinearly(counts, DataTypeId::DOUBLE, {-0.1, 3.3});
  EXPECT_THAT(valuesOf<double>(*scaled), ElementsAre(3.3, 500 * -0.1 + 3.3, 4000 * -0.1 + 3.3));
  EXPECT_EQ(scaled->valueRange(), (Vector2d{counts->valueRange()[1] * -0.1 + 3.3, 3.3}));
  EXPECT_EQ(mapLinearly(counts, DataTypeId::INT16, {1, -1024})->valueRange()[0], -1024);
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

// That every sample stays where it is in space is tried with chains of adapters.
TEST(Adapters, CalibrationFollowsTheSamples) {
  auto const image = Factory::allocate({10, 20, 30}, DataTypeId::UINT8);
  image->setSpatialOrigin({1, 2, 3});
  image->setSpatialSpacing({0.5, 2, 4});
  image->setSpatialUnit("mm");
  auto const flipped = Factory::flip(image, ROW);
  EXPECT_EQ(flipped->spatialDirections().rowDirection(), (Vector3d{0, -1, 0}));
  EXPECT_EQ(Factory::flip(flipped, ROW)->properties()->calibration(), image->properties()->calibration());
  auto const plane = Factory::extractAdjustedRegion(image, {{0, 3, 0}, {10, 1, 30}});
  EXPECT_EQ(plane->axesInterpretation(), COLUMN | SLICE);
  EXPECT_EQ(plane->spatialSpacing(), (Vector3d{0.5, 1, 4}));

  // Slices that were taken apart come together where they were.
  std::vector<Image> slices;
  for (uint64_t z = 0; z < 30; ++z)
    slices.push_back(Factory::extractAdjustedRegion(image, {{0, 0, z}, {10, 20, 1}}));
  EXPECT_EQ(Factory::stack(setOf(slices), SLICE)->properties()->calibration(), image->properties()->calibration());
}

TEST(Adapters, InterpretationAndMetadataFollowTheSamples) {
  auto const image = Factory::allocate({4, 3}, DataTypeId::VEC4_UINT8);
  image->setImageInterpretation(ImageInterpretation::RGB);
  image->setAlpha(true);
  image->setMetadata(std::make_shared<MetadataNode>("root", nullptr));
  auto const planes = Factory::disassembleChannels(image);
  EXPECT_EQ(planes->axesInterpretation(), ImageTypeId::MULTISPECTRAL_IMAGE);
  EXPECT_TRUE(planes->hasAlpha());
  EXPECT_TRUE(planes->properties()->isCompatibleWith(planes->shape(), planes->dataType()));
  auto const opaque = Factory::extractRegion(planes, {{0, 0, 0}, {4, 3, 3}});
  EXPECT_EQ(opaque->imageInterpretation(), ImageInterpretation::RGB);
  EXPECT_FALSE(opaque->hasAlpha());
  EXPECT_EQ(Factory::flip(planes, CHANNEL)->imageInterpretation(), ImageInterpretation::MULTISPECTRAL);
  EXPECT_FALSE(Factory::extractChannel(image, 3)->hasAlpha());
  EXPECT_EQ(Factory::flip(Factory::extractChannel(opaque, 1), ROW)->metadata()->key(), "root");

  std::vector<Image> channels;
  for (size_t n = 0; n < 4; ++n)
    channels.push_back(Factory::extractChannel(image, n));
  auto const together = Factory::interlace(setOf(channels));
  EXPECT_EQ(together->properties()->imageInfo(), image->properties()->imageInfo());
  EXPECT_EQ(together->dataType(), DataTypeId::VEC4_UINT8);
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
  EXPECT_EQ(view->viewOrigin()->parentCount(), 1u);
  EXPECT_EQ(view->viewOrigin()->dataOrigin(), ViewDataOrigin::CPU_MEMORY);
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

TEST(Adapters, SealedMemoryIsNotWrittenThroughAnyView) {
  auto const sealed = borrowedImage({4, 3}, DataTypeId::UINT8, BorrowedMemoryView::Protection::SEALED);
  EXPECT_EQ(sealed->capabilities(), READ | WRITE | MEMORY_ACCESS);
  auto const before = valuesOf(*sealed);
  Bytes const zeros(48);
  for (auto const & view : {sealed, Factory::flip(sealed, ROW), Factory::adaptDataType(sealed, DataTypeId::FLOAT)})
    EXPECT_THROW(view->writeRegion(whole(*view), zeros.data()), Error);
  EXPECT_EQ(valuesOf(*sealed), before);
  sealed->setSpatialUnit("mm");
  EXPECT_EQ(sealed->spatialUnit(), "mm");
}

TEST(Adapters, ThreadSafeViewsOfAnythingCanBeSharedByThreads) {
  auto const foreign = std::make_shared<ForeignImage>(VectorXu64{64, 64}, DataTypeId::VEC3_UINT8, READ | WRITE);
  auto const safe = Factory::makeThreadSafe(foreign);
  EXPECT_EQ(Factory::makeThreadSafe(safe), safe);
  EXPECT_EQ(safe->capabilities(), foreign->capabilities());
  // Each of the threads writes one channel: all of them share the samples.
  std::vector<std::thread> threads;
  for (uint8_t channel = 0; channel < 3; ++channel)
    threads.emplace_back([&, channel] {
      auto const view = Factory::extractChannel(safe, channel);
      for (uint64_t row = 0; row < 64; ++row)
        view->writeRegion({{0, row}, {64, 1}}, Bytes(64, static_cast<uint8_t>(channel + 1)).data());
    });
  for (auto & thread : threads)
    thread.join();
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
