#include "views/ImageViewContract.h"

#include "views/Samples.h"
#include "zarnik/core/UidGenerator.h"
#include "zarnik/metadata/ImageProperties.h"
#include "zarnik/metadata/MetadataNode.h"
#include "zarnik/views/ParallelAccessExtension.h"
#include "zarnik/views/TilingInfoExtension.h"
#include "zarnik/views/ViewOriginExtension.h"

#include <gmock/gmock.h>
#include <random>
#include <thread>

namespace zarnik::test {
namespace {

using testing::HasSubstr;
using enum ImageCapability;

struct Format {
  VectorXu64 shape;
  DataType dataType;

  /// Where an element of a dense image starts.
  size_t offsetOf(VectorXu64 const & index) const { return positionOf(index, shape) * dataType.byteCount(); }
};

std::vector<Format> formats() {
  return {{{7}, DataTypeId::DOUBLE},
          {{5, 4}, DataTypeId::UINT8},
          {{4, 3, 5}, DataTypeId::UINT16},
          {{3, 2, 4, 3}, DataTypeId::VEC3_UINT8},
          {{2, 3, 2, 2, 2}, DataTypeId::FLOAT}};
}

} // namespace

void ImageViewContract::make(VectorXu64 const & shape, DataType dataType) {
  auto made = GetParam().make(shape, dataType, ramp(elementCount(shape) * dataType.byteCount()));
  view = std::move(made.view);
  samples = std::move(made.samples);
}

TEST_P(ImageViewContract, DescribesItself) {
  for (auto const & format : formats()) {
    make(format.shape, format.dataType);
    EXPECT_EQ(view->shape(), format.shape);
    EXPECT_EQ(view->dataType(), format.dataType);
    EXPECT_EQ(view->capabilities(), GetParam().capabilities);
    EXPECT_TRUE(view->properties()->isCompatibleWith(format.shape, format.dataType));
    EXPECT_EQ(view->axesInterpretation().dimensionCount(), format.shape.size());
    EXPECT_THAT(view->toString(), HasSubstr(format.shape.toString()));
  }
}

TEST_P(ImageViewContract, RefusesWhatItDoesNotOffer) {
  make({4, 3}, DataTypeId::UINT16);
  auto const before = samples();
  Bytes scratch(24);
  auto const needs = [this](ImageCapability capability, char const * name, auto operation) {
    if (!offers(capability)) {
      EXPECT_THAT(messageOf<NotImplemented>(operation), HasSubstr(name));
    }
  };
  needs(READ, "READ", [&] { view->read({0, 0}, scratch.data()); });
  needs(READ, "READ", [&] { view->readRegion(whole(*view), scratch.data()); });
  needs(READ, "MEMORY_ACCESS", [&] { std::as_const(*view).buffer(); });
  needs(WRITE, "WRITE", [&] { view->write({0, 0}, scratch.data()); });
  needs(WRITE, "WRITE", [&] { view->writeRegion(whole(*view), scratch.data()); });
  needs(WRITE, "WRITE", [&] { view->setProperties(view->properties()->clone()); });
  needs(WRITE, "WRITE", [&] { view->setMetadata(nullptr); });
  needs(WRITE, "WRITE", [&] { view->setSpatialUnit("mm"); });
  needs(RESHAPE, "RESHAPE", [&] { view->reshape({2, 2}, DataTypeId::UINT8); });
  needs(MEMORY_ACCESS, "MEMORY_ACCESS", [&] { view->buffer(); });
  EXPECT_EQ(samples(), before);
  EXPECT_EQ(view->shape(), (VectorXu64{4, 3}));
}

TEST_P(ImageViewContract, MovesElementsAndRegions) {
  std::mt19937 random(20240501);
  for (auto const & format : formats()) {
    make(format.shape, format.dataType);
    auto expected = samples();
    auto const bytes = format.dataType.byteCount();
    for (int round = 0; round < 30; ++round) {
      auto const region = randomRegion(format.shape, random);
      SCOPED_TRACE(region.toString());
      bool const byElement = round % 2 == 0;
      Bytes written(region.elementCount() * bytes), there(written.size()), read(written.size()),
          readAgain(written.size());
      std::ranges::generate(written, [&] { return static_cast<uint8_t>(random()); });
      if (offers(WRITE) && !byElement)
        view->writeRegion(region, written.data());
      forEach(region, [&](VectorXu64 const & index, uint64_t position) {
        auto const here = position * bytes;
        auto * const sample = &expected[format.offsetOf(index)];
        if (offers(WRITE))
          std::copy_n(&written[here], bytes, sample);
        if (offers(WRITE) && byElement)
          view->write(index, &written[here]);
        if (offers(READ))
          view->read(index, &read[here]);
        std::copy_n(sample, bytes, &there[here]);
      });
      ASSERT_EQ(samples(), expected);
      if (!offers(READ))
        continue;
      view->readRegion(region, readAgain.data());
      ASSERT_EQ(read, there);
      ASSERT_EQ(readAgain, there);
    }
  }
}

TEST_P(ImageViewContract, RefusesPositionsOutside) {
  make({4, 3}, DataTypeId::UINT8);
  auto const before = samples();
  Bytes scratch(64, 0xEE);
  auto const huge = ~uint64_t{0};
  auto const refuses = [this](ImageCapability capability, auto const & place, auto operation) {
    if (offers(capability)) {
      EXPECT_THROW(operation(), InvalidArgument) << place.toString();
    }
  };
  for (auto const & index : {VectorXu64{4, 0}, VectorXu64{0, 3}, VectorXu64{huge, 0}, VectorXu64{0}, VectorXu64{}}) {
    refuses(READ, index, [&] { view->read(index, scratch.data()); });
    refuses(WRITE, index, [&] { view->write(index, scratch.data()); });
  }
  for (auto const & region : {RegionXu64({1, 0}, {4, 1}), RegionXu64({0, 2}, {1, 2}), RegionXu64({huge - 1, 0}, {1, 1}),
                              RegionXu64({1, 1}, {huge - 1, 1}), RegionXu64({0}, {1}), RegionXu64({5, 0}, {0, 0})}) {
    refuses(READ, region, [&] { view->readRegion(region, scratch.data()); });
    refuses(WRITE, region, [&] { view->writeRegion(region, scratch.data()); });
  }
  EXPECT_EQ(samples(), before);
  EXPECT_EQ(scratch, Bytes(64, 0xEE));
}

TEST_P(ImageViewContract, KeepsCopiesOfFittingPropertiesAndOfMetadata) {
  if (!offers(WRITE))
    return;
  make({4, 3}, DataTypeId::UINT16);
  view->setSpatialUnit("mm");
  view->setAxesInterpretation(ImageDimension::COLUMN | ImageDimension::SLICE);
  EXPECT_EQ(view->axesInterpretation(), ImageDimension::COLUMN | ImageDimension::SLICE);

  auto const before = view->properties()->clone();
  EXPECT_THROW(view->setBitDepth(17), Error);
  EXPECT_THROW(view->setAxesInterpretation(ImageTypeId::VOLUME), Error);
  EXPECT_THROW(view->setProperties(nullptr), Error);
  EXPECT_TRUE(*view->properties() == *before);
  view->setAlpha(true); // a colour model for it may follow
  view->setImageInterpretation(ImageInterpretation::RGB);
  EXPECT_TRUE(view->hasAlpha());

  view->setProperties(before);
  before->calibration().setUnit("changed");
  EXPECT_EQ(view->spatialUnit(), "mm");

  auto const tree = std::make_shared<MetadataNode>("root", nullptr);
  view->setMetadata(tree);
  tree->addChild(std::make_shared<MetadataNode>("late", nullptr));
  EXPECT_EQ(view->metadata()->key(), "root");
  EXPECT_EQ(view->metadata()->childCount(), 0u);
  view->setMetadata(nullptr);
  EXPECT_EQ(view->metadata(), nullptr);
}

TEST_P(ImageViewContract, ReshapesOrStaysAsItWas) {
  if (!offers(RESHAPE))
    return;
  make({4, 3}, DataTypeId::UINT16);
  view->setSpatialUnit("mm");
  auto const before = samples();
  auto const properties = view->properties();
  auto const huge = uint64_t{1} << 60;
  EXPECT_THROW(view->reshape({huge, huge}, DataTypeId::UINT8), Error);
  EXPECT_THROW(view->reshape({huge}, DataTypeId::DOUBLE), Error);
  EXPECT_THROW(view->reshape({2, 2}, DataType()), Error);
  EXPECT_EQ(view->shape(), (VectorXu64{4, 3}));
  EXPECT_EQ(view->dataType(), DataTypeId::UINT16);
  EXPECT_TRUE(*view->properties() == *properties);
  EXPECT_EQ(samples(), before);

  view->reshape({2, 3, 4}, DataTypeId::FLOAT);
  EXPECT_EQ(view->shape(), (VectorXu64{2, 3, 4}));
  EXPECT_TRUE(view->properties()->isCompatibleWith({2, 3, 4}, DataTypeId::FLOAT));
  EXPECT_EQ(view->spatialUnit(), "mm");
  float const written = 2.5f;
  float read = 0;
  view->write({1, 2, 3}, &written);
  view->read({1, 2, 3}, &read);
  EXPECT_EQ(read, written);
}

TEST_P(ImageViewContract, MemoryHoldsTheSamplesWhereTheIndexerSays) {
  if (!offers(MEMORY_ACCESS))
    return;
  for (auto const & format : formats()) {
    make(format.shape, format.dataType);
    auto const all = samples();
    EXPECT_EQ(view->bufferSize(), all.size());
    auto * const memory = static_cast<uint8_t *>(view->buffer());
    ASSERT_EQ(std::as_const(*view).buffer(), memory);
    forEach(whole(*view), [&](VectorXu64 const & index, uint64_t) {
      ASSERT_EQ(memory[static_cast<int64_t>(view->indexer().byteOffset(index))], all[format.offsetOf(index)]);
    });
  }
}

TEST_P(ImageViewContract, TellsItsOrigin) {
  make({2, 2}, DataTypeId::UINT8);
  auto const origin = view->viewOrigin();
  ASSERT_NE(origin, nullptr);
  EXPECT_NE(origin->uid(), UidGenerator::UNDEFINED_UID);
  EXPECT_EQ(origin->uid(), view->viewOrigin()->uid());
  EXPECT_FALSE(origin->displayName().empty());
  EXPECT_NE(origin->dataOrigin(), ViewDataOrigin::UNKNOWN);
  for (size_t parent = 0; parent < origin->parentCount(); ++parent)
    EXPECT_NE(origin->parent(parent)->uid(), origin->uid());
  EXPECT_THROW(origin->parent(origin->parentCount()), Error);
  EXPECT_EQ(view->extension(~size_t{0}), nullptr);
  make({2, 2}, DataTypeId::UINT8);
  EXPECT_NE(view->viewOrigin()->uid(), origin->uid());
}

TEST_P(ImageViewContract, TilesCoverTheImageOnce) {
  Format const format{{5, 4}, DataTypeId::UINT16};
  make(format.shape, format.dataType);
  auto const tiling = view->tilingInfo();
  if (!tiling)
    return;
  auto expected = samples();
  std::vector<int> covered(20);
  for (size_t tile = 0; tile < tiling->tileCount(); ++tile) {
    auto const region = tiling->tileRegion(tile);
    auto const value = static_cast<uint8_t>(200 + tile);
    Bytes read(region.elementCount() * 2), there, written(read.size(), value);
    forEach(region, [&](VectorXu64 const & index, uint64_t) {
      ++covered[positionOf(index, format.shape)];
      auto * const sample = &expected[format.offsetOf(index)];
      there.insert(there.end(), sample, sample + 2);
      if (offers(WRITE))
        std::fill_n(sample, 2, value);
    });
    if (offers(READ)) {
      tiling->readTile(tile, read.data());
      EXPECT_EQ(read, there) << region.toString();
    } else {
      EXPECT_THROW(tiling->readTile(tile, read.data()), NotImplemented);
    }
    if (offers(WRITE)) {
      tiling->writeTile(tile, written.data());
    } else {
      EXPECT_THROW(tiling->writeTile(tile, written.data()), NotImplemented);
    }
  }
  EXPECT_EQ(covered, std::vector<int>(20, 1));
  EXPECT_EQ(samples(), expected);
  EXPECT_THROW(tiling->tileRegion(tiling->tileCount()), Error);
}

TEST_P(ImageViewContract, ParallelFlagsAreTrue) {
  using enum ParallelAccessCapability;
  make({64, 48}, DataTypeId::UINT16);
  auto const parallel = view->parallelAccess();
  ASSERT_NE(parallel, nullptr);
  bool const reads = parallel->support(PARALLEL_READ), writes = parallel->support(PARALLEL_WRITE);
  EXPECT_TRUE(offers(READ) || !(reads || parallel->support(PARALLEL_TILE_READ)));
  EXPECT_TRUE(offers(WRITE) || !(writes || parallel->support(PARALLEL_TILE_WRITE)));

  auto const before = samples();
  std::vector<std::thread> threads;
  std::vector<Bytes> rows(48, Bytes(128));
  for (uint64_t start = 0; start < 4; ++start) {
    threads.emplace_back([&, start] {
      for (uint64_t row = start; row < 48; row += 4) {
        RegionXu64 const region({0, row}, {64, 1});
        if (reads)
          view->readRegion(region, rows[row].data());
        if (writes)
          view->writeRegion(region, Bytes(128, static_cast<uint8_t>(row)).data());
      }
    });
  }
  for (auto & thread : threads)
    thread.join();
  auto const after = samples();
  for (size_t row = 0; row < 48; ++row) {
    if (reads) {
      EXPECT_TRUE(std::equal(rows[row].begin(), rows[row].end(), &before[row * 128])) << row;
    }
    if (writes) {
      EXPECT_EQ(Bytes(&after[row * 128], &after[row * 128] + 128), Bytes(128, static_cast<uint8_t>(row)));
    }
  }
}

} // namespace zarnik::test
