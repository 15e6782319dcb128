#include "adapters/AdapterSources.h"
#include "zarnik/core/Error.h"
#include "zarnik/metadata/SpatialCalibrationProperty.h"
#include "zarnik/views/LinearValues.h"
#include "zarnik/views/MultiImageView.h"
#include "zarnik/views/MultiImageViewFactory.h"

#include <atomic>
#include <cmath>
#include <gmock/gmock.h>
#include <limits>
#include <thread>

namespace zarnik::test {
namespace {

using Factory = ImageViewFactory;
using Image = std::shared_ptr<ImageView>;
using testing::HasSubstr;
using testing::ThrowsMessage;
using enum ImageCapability;
using enum ImageDimension;

constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();
constexpr double INFINITE = std::numeric_limits<double>::infinity();

template <typename T> Image imageOf(VectorXu64 const & shape, std::vector<T> const & values) {
  auto const image = Factory::allocate(shape, dataTypeIdOf<T>);
  std::copy(values.begin(), values.end(), static_cast<T *>(image->buffer()));
  return image;
}

template <typename T> std::vector<T> valuesOf(Image const & image) {
  std::vector<T> values(elementCount(image->shape()) * image->dataType().elementCount());
  image->readRegion(RegionXu64::createFullRegion(image->shape()), values.data());
  return values;
}

std::shared_ptr<MultiImageView> setOf(std::vector<Image> const & images) {
  return MultiImageViewFactory::createFromList(images.data(), images.size());
}

TEST(Adapters, RefuseWhatDoesNotFitAndSayWhy) {
  auto const refused = [](auto make, char const * text) {
    EXPECT_THAT(make, ThrowsMessage<InvalidArgument>(HasSubstr(text)));
  };
  auto const image = Factory::allocate({4, 3}, DataTypeId::UINT8);
  auto const vectors = Factory::allocate({4, 3}, DataTypeId::VEC3_UINT8);
  refused([] { Factory::extractRegion(nullptr, RegionXu64(2)); }, "null");
  refused([&] { Factory::extractRegion(image, {{2, 0}, {3, 1}}); }, "exceeds the image shape (4, 3) on axis 0");
  refused([&] { Factory::extractRegion(image, {{2}, {1}}); }, "2 dimensions");
  refused([&] { Factory::subSample(image, 0); }, "step 0");
  refused([&] { Factory::everyNth(image, {1, 0}); }, "step 0 along ROW");
  refused([&] { Factory::flip(image, SLICE); }, "no dimension SLICE, its axes are (COLUMN, ROW)");
  refused([&] { Factory::flip(image, size_t{2}); }, "dimension index 2");
  refused([&] { Factory::reinterpret(image, ImageTypeId::VOLUME); }, "3 dimensions, the image has 2");
  ImageDimension const twice[] = {ROW, ROW}, unknown[] = {ROW, static_cast<ImageDimension>(9)};
  refused([&] { Factory::reinterpretAxes(image, twice, 2); }, "ROW is given twice");
  refused([&] { Factory::reinterpretAxes(image, unknown, 2); }, "dimension 9 is unknown");
  refused([&] { Factory::reinterpretAxes(image, twice, 1); }, "1 dimensions, the image has 2");
  refused([&] { Factory::extractChannel(vectors, 3); }, "channel 3 is not below the number of channels 3");
  refused([&] { Factory::extractChannel(image, 1); }, "channel 1");
  refused([&] { Factory::assembleChannels(image); }, "no dimension CHANNEL");
  refused([&] { Factory::assembleChannels(vectors); }, "not scalar");
  refused([&] { Factory::disassembleChannels(image); }, "no vectors");
  refused([&] { Factory::adaptDataType(vectors, DataTypeId::FLOAT); }, "VEC3_UINT8");
  refused([&] { Factory::adaptDynamicRange(image, DataTypeId::FLOAT, {5, 5}, {0, 1}); }, "no width");
  refused([&] { Factory::adaptDynamicRange(image, DataTypeId::FLOAT, {0, NOT_A_NUMBER}, {0, 1}); }, "input range");
  refused([&] { Factory::adaptDynamicRange(image, DataTypeId::FLOAT, {0, 1}, {0, INFINITE}); }, "output range");
  refused([&] { Factory::adaptDynamicRange(image, DataTypeId::FLOAT, {0, 1e-300}, {0, 1e300}); }, "not finite");
  refused([&] { mapLinearly(image, DataTypeId::FLOAT, {NOT_A_NUMBER, 0}); }, "not finite");
  refused([] { Factory::makeThreadSafe(nullptr); }, "null");
  refused([] { Factory::fromImageView(nullptr, nullptr, nullptr); }, "null");

  refused([] { Factory::stack(nullptr); }, "null");
  refused([] { Factory::stack(setOf({})); }, "no frames");
  refused(
      [&] {
        Factory::stack(setOf({image, Factory::allocate({4, 4}, DataTypeId::UINT8)}));
      },
      "frame 1 has shape (4, 4), frame 0 has (4, 3)");
  refused([&] { Factory::stack(setOf({image, image, vectors})); }, "frame 2 has type VEC3_UINT8, frame 0 has UINT8");
  refused([&] { Factory::stack(setOf({image}), ROW); }, "ROW already");
  refused([&] { Factory::stack(setOf({image}), SLICE, 0); }, "thread count 0");
  refused([&] { Factory::interlace(setOf({image, Factory::allocate({4, 3}, DataTypeId::INT8)})); }, "type INT8");
  refused([&] { Factory::interlace(setOf({image, image}), ImageInterpretation::RGB, false); }, "needs 3 channels");
}

TEST(Adapters, ConvertAndMapValues) {
  auto const values = imageOf<double>({6}, {-300, 1.5, 2.5, 254.5, INFINITE, NOT_A_NUMBER});
  auto const bytes = Factory::adaptDataType(values, DataTypeId::UINT8);
  EXPECT_EQ(bytes->capabilities(), READ | WRITE);
  EXPECT_EQ(valuesOf<uint8_t>(bytes), (std::vector<uint8_t>{0, 2, 2, 254, 255, 0}));
  EXPECT_EQ(bytes->valueRange(), (Vector2d{0, 1}));
  EXPECT_EQ(bytes->bitDepth(), 8u);

  auto const counts = imageOf<uint16_t>({3}, {0, 1000, 4000});
  counts->setBitDepth(12);
  auto const mapped = Factory::adaptDynamicRange(counts, DataTypeId::FLOAT, {0, 2000}, {0, 1});
  EXPECT_EQ(valuesOf<float>(mapped), (std::vector<float>{0, 0.5F, 2})); // no clamping
  EXPECT_EQ(mapped->valueRange(), (Vector2d{0, 1}));
  auto const wide = Factory::adaptDataType(counts, DataTypeId::UINT32);
  EXPECT_EQ(wide->bitDepth(), 12u);
  float const half = 0.25F;
  mapped->write({1}, &half);
  EXPECT_EQ(valuesOf<uint16_t>(counts), (std::vector<uint16_t>{0, 500, 4000}));

  auto const constant = Factory::adaptDynamicRange(counts, DataTypeId::UINT8, {0, 1}, {7, 7});
  EXPECT_EQ(valuesOf<uint8_t>(constant), (std::vector<uint8_t>(3, 7)));
  EXPECT_EQ(constant->capabilities(), ImageCapabilitySet(READ)); // the way back is not known

  // A product and a sum, each rounded, and what becomes of the value range, which a negative scale turns around.
  auto const scaled = mapLinearly(counts, DataTypeId::DOUBLE, {-0.1, 3.3});
  EXPECT_EQ(valuesOf<double>(scaled), (std::vector<double>{3.3, 500 * -0.1 + 3.3, 4000 * -0.1 + 3.3}));
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
    std::vector<uint8_t> values(COUNT);
    for (size_t n = 0; n < COUNT; ++n)
      values[n] = static_cast<uint8_t>(n * n / 7);
    auto const image = imageOf<uint8_t>({COUNT}, values);
    auto const view = twice(image);
    auto const expected = valuesOf<uint8_t>(view);
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
  auto const values = valuesOf<float>(view);
  ASSERT_EQ(view->shape(), (VectorXu64{334, 143, 3}));
  for (size_t z = 0, n = 0; z < 3; ++z)
    for (size_t y = 0; y < 143; ++y)
      for (size_t x = 0; x < 334; ++x, ++n)
        ASSERT_EQ(values[n], samples[3 * x + 1000 * (7 * (142 - y) + 1000 * 2 * z)]);
  EXPECT_LE(foreign->elementsRead, 1000u * 143 * 5); // rows in between are left out
  std::vector<float> const ones(values.size(), 1);
  view->writeRegion(RegionXu64::createFullRegion(view->shape()), ones.data());
  for (size_t n = 0; n < 6'000'000; ++n) {
    bool const isWritten = n % 1000 % 3 == 0 && n / 1000 % 1000 % 7 == 0 && n / 1'000'000 % 2 == 0;
    ASSERT_EQ(samples[n], isWritten ? 1 : static_cast<uint16_t>(n * 7919)) << n;
  }
}

TEST(Adapters, CalibrationFollowsTheSamples) {
  auto const image = Factory::allocate({10, 20, 30}, DataTypeId::UINT8);
  image->setSpatialOrigin({1, 2, 3});
  image->setSpatialSpacing({0.5, 2, 4});
  image->setSpatialUnit("mm");
  auto const region = Factory::extractRegion(image, {{2, 3, 4}, {5, 5, 5}});
  EXPECT_EQ(region->spatialOrigin(), (Vector3d{2, 8, 19}));
  EXPECT_EQ(region->spatialUnit(), "mm");
  auto const coarse = Factory::subSample(image, 4);
  EXPECT_EQ(coarse->shape(), (VectorXu64{3, 5, 8}));
  EXPECT_EQ(coarse->spatialSpacing(), (Vector3d{2, 8, 16}));
  EXPECT_EQ(coarse->capabilities(), ImageCapabilitySet(READ));
  auto const flipped = Factory::flip(image, ROW);
  EXPECT_EQ(flipped->spatialDirections().rowDirection(), (Vector3d{0, -1, 0}));
  EXPECT_EQ(flipped->spatialOrigin(), (Vector3d{1, 40, 3}));
  EXPECT_EQ(Factory::flip(flipped, ROW)->properties()->calibration(), image->properties()->calibration());
  auto const plane = Factory::extractAdjustedRegion(image, {{0, 3, 0}, {10, 1, 30}});
  EXPECT_EQ(plane->axesInterpretation(), COLUMN | SLICE);
  EXPECT_EQ(plane->spatialSpacing(), (Vector3d{0.5, 1, 4}));
  EXPECT_EQ(plane->spatialOrigin(), (Vector3d{1, 8, 3}));

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
  Image image = imageOf<uint8_t>({3}, {1, 2, 3});
  for (int n = 0; n < 100'001; ++n)
    image = Factory::flip(image, COLUMN);
  EXPECT_EQ(valuesOf<uint8_t>(image), (std::vector<uint8_t>{3, 2, 1}));
  image = Factory::fromImageView(ImageViewProvider::toReadOnly(image), nullptr, nullptr);
  for (int n = 0; n < 100'000; ++n)
    image = Factory::makeThreadSafe(Factory::fromImageView(ImageViewProvider::toReadOnly(image), nullptr, nullptr));
  EXPECT_EQ(valuesOf<uint8_t>(image), (std::vector<uint8_t>{3, 2, 1}));
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
  EXPECT_EQ(valuesOf<uint8_t>(image), std::vector<uint8_t>{0});
}

TEST(Adapters, RefuseToReadAnImageThatWasReshaped) {
  auto const image = Factory::allocate({100, 100}, DataTypeId::UINT8);
  auto const view = Factory::flip(image, ROW);
  image->reshape({2, 2}, DataTypeId::UINT8);
  std::vector<uint8_t> scratch(10000);
  auto const reshaped = ThrowsMessage<Error>(HasSubstr("was reshaped since, from shape (100, 100)"));
  EXPECT_THAT([&] { view->readRegion(RegionXu64::createFullRegion({100, 100}), scratch.data()); }, reshaped);
  EXPECT_THAT([&] { view->buffer(); }, reshaped);
}

TEST(Adapters, ReadersMeetAnErrorOrOldSamplesWhileAnotherThreadReshapes) {
  auto const image = Factory::allocate({64, 64}, DataTypeId::UINT8);
  Image const views[] = {Factory::flip(image, ROW), Factory::adaptDataType(image, DataTypeId::UINT16),
                         Factory::fromImageView(image, nullptr, nullptr), Factory::stack(setOf({image}), SLICE)};
  std::atomic<bool> isOver = false;
  std::thread reshaping([&] {
    for (int n = 0; n < 300; ++n)
      image->reshape(n % 2 ? VectorXu64{64, 64} : VectorXu64{3, 2}, n % 2 ? DataTypeId::UINT8 : DataTypeId::DOUBLE);
    isOver = true;
  });
  std::vector<uint8_t> scratch(64 * 64 * 2 + 1, 7);
  while (!isOver)
    for (auto const & view : views)
      try {
        VectorXu64 size{64, 64, 1};
        view->readRegion(
            {VectorXu64(view == views[3] ? 3 : 2), {size.begin(), size.end() - (view == views[3] ? 0 : 1)}},
            scratch.data());
        EXPECT_EQ(scratch[100], 0);
        scratch[100] = 7;
      } catch (Error const &) {
      }
  reshaping.join();
  EXPECT_EQ(scratch.back(), 7);
}

TEST(Adapters, SealedMemoryIsNotWrittenThroughAnyView) {
  auto const sealed = borrowedImage({4, 3}, DataTypeId::UINT8, BorrowedMemoryView::Protection::SEALED);
  EXPECT_EQ(sealed->capabilities(), READ | WRITE | MEMORY_ACCESS);
  auto const before = valuesOf<uint8_t>(sealed);
  std::vector<uint8_t> const zeros(48);
  auto const whole = RegionXu64::createFullRegion({4, 3});
  EXPECT_THROW(sealed->writeRegion(whole, zeros.data()), Error);
  EXPECT_THROW(Factory::flip(sealed, ROW)->writeRegion(whole, zeros.data()), Error);
  EXPECT_THROW(Factory::adaptDataType(sealed, DataTypeId::FLOAT)->writeRegion(whole, zeros.data()), Error);
  EXPECT_EQ(valuesOf<uint8_t>(sealed), before);
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
        view->writeRegion({{0, row}, {64, 1}}, std::vector<uint8_t>(64, static_cast<uint8_t>(channel + 1)).data());
    });
  for (auto & thread : threads)
    thread.join();
  auto const written = valuesOf<uint8_t>(safe);
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
  EXPECT_THAT([&] { valuesOf<uint8_t>(stack); }, ThrowsMessage<Error>(HasSubstr("frame 7 was reshaped")));
  auto const rest = Factory::extractRegion(stack, {{0, 0, 8}, {8, 8, 12}});
  EXPECT_EQ(valuesOf<uint8_t>(rest), std::vector<uint8_t>(8 * 8 * 12, 0));
}

} // namespace
} // namespace zarnik::test
