#include "views/ImageViewContract.h"

#include "zarnik/core/Error.h"
#include "zarnik/core/UidGenerator.h"
#include "zarnik/metadata/ImageProperties.h"
#include "zarnik/metadata/MetadataNode.h"
#include "zarnik/values/Indexer.h"
#include "zarnik/views/ParallelAccessExtension.h"
#include "zarnik/views/TilingInfoExtension.h"
#include "zarnik/views/ViewOriginExtension.h"

#include <gmock/gmock.h>
#include <numeric>
#include <random>
#include <thread>

namespace zarnik::test {
namespace {

using Bytes = std::vector<uint8_t>;
using testing::HasSubstr;
using enum ImageCapability;

struct Format {
  VectorXu64 shape;
  DataType dataType;
};

std::vector<Format> formats() {
  return {{{7}, DataTypeId::DOUBLE},
          {{5, 4}, DataTypeId::UINT8},
          {{4, 3, 5}, DataTypeId::UINT16},
          {{3, 2, 4, 3}, DataTypeId::VEC3_UINT8},
          {{2, 3, 2, 2, 2}, DataTypeId::FLOAT}};
}

uint64_t elementCount(VectorXu64 const & shape) {
  return std::accumulate(shape.begin(), shape.end(), uint64_t{1}, std::multiplies<>());
}

Bytes ramp(size_t count) {
  Bytes bytes(count);
  std::iota(bytes.begin(), bytes.end(), uint8_t{1});
  return bytes;
}

/// Calls visit(index, position in the dense order) for every element of a region.
template <typename Visit> void forEach(RegionXu64 const & region, Visit visit) {
  auto const count = elementCount(region.size());
  for (uint64_t position = 0; position < count; ++position) {
    VectorXu64 index(region.dimensionCount());
    for (size_t axis = 0, rest = position; axis < index.size(); rest /= region.size()[axis], ++axis)
      index[axis] = region.origin()[axis] + rest % region.size()[axis];
    visit(index, position);
  }
}

/// Where an element of a dense image starts.
size_t offsetOf(VectorXu64 const & index, Format const & format) {
  size_t offset = 0;
  for (size_t axis = index.size(); axis-- > 0;)
    offset = offset * format.shape[axis] + index[axis];
  return offset * format.dataType.byteCount();
}

RegionXu64 randomRegion(VectorXu64 const & shape, std::mt19937 & random) {
  VectorXu64 origin(shape.size()), size(shape.size());
  for (size_t axis = 0; axis < shape.size(); ++axis) {
    origin[axis] = random() % (shape[axis] + 1);
    size[axis] = random() % (shape[axis] - origin[axis] + 1);
  }
  return {origin, size};
}

/// \return the message of the NotImplemented that the operation throws
template <typename Operation> std::string refusal(Operation operation) {
  try {
    operation();
  } catch (NotImplemented const & error) {
    return error.what();
  }
  return "(not refused)";
}

} // namespace

ImageViewUnderTest ImageViewContract::make(VectorXu64 const & shape, DataType dataType) const {
  return GetParam().make(shape, dataType, ramp(elementCount(shape) * dataType.byteCount()));
}

TEST_P(ImageViewContract, DescribesItself) {
  for (auto const & format : formats()) {
    auto const view = make(format.shape, format.dataType).view;
    EXPECT_EQ(view->shape(), format.shape);
    EXPECT_EQ(view->dataType(), format.dataType);
    EXPECT_EQ(view->dimensionCount(), format.shape.size());
    EXPECT_EQ(view->capabilities(), GetParam().capabilities);
    EXPECT_TRUE(view->properties()->isCompatibleWith(format.shape, format.dataType));
    EXPECT_EQ(view->axesInterpretation().dimensionCount(), format.shape.size());
    EXPECT_THAT(view->toString(), HasSubstr(format.shape.toString()));
  }
}

TEST_P(ImageViewContract, RefusesWhatItDoesNotOffer) {
  auto const made = make({4, 3}, DataTypeId::UINT16);
  auto const & view = made.view;
  auto const & samples = made.samples;
  auto const before = samples();
  Bytes scratch(24);
  auto const region = RegionXu64::createFullRegion({4, 3});
  auto const needs = [this](ImageCapability capability, char const * name, auto operation) {
    if (!offers(capability)) {
      EXPECT_THAT(refusal(operation), HasSubstr(name));
    }
  };
  needs(READ, "READ", [&] { view->read({0, 0}, scratch.data()); });
  needs(READ, "READ", [&] { view->readRegion(region, scratch.data()); });
  needs(READ, "MEMORY_ACCESS", [&] { std::as_const(*view).buffer(); });
  needs(WRITE, "WRITE", [&] { view->write({0, 0}, scratch.data()); });
  needs(WRITE, "WRITE", [&] { view->writeRegion(region, scratch.data()); });
  needs(WRITE, "WRITE", [&] { view->setProperties(view->properties()->clone()); });
  needs(WRITE, "WRITE", [&] { view->setMetadata(nullptr); });
  needs(WRITE, "WRITE", [&] { view->setSpatialUnit("mm"); });
  needs(RESHAPE, "RESHAPE", [&] { view->reshape({2, 2}, DataTypeId::UINT8); });
  needs(MEMORY_ACCESS, "MEMORY_ACCESS", [&] { view->buffer(); });
  EXPECT_EQ(samples(), before);
  EXPECT_EQ(view->shape(), (VectorXu64{4, 3}));
}

TEST_P(ImageViewContract, ReadsElementsAndRegions) {
  if (!offers(READ))
    return;
  std::mt19937 random(20240501);
  for (auto const & format : formats()) {
    auto const made = make(format.shape, format.dataType);
    auto const & view = made.view;
    auto const & samples = made.samples;
    auto const all = samples();
    auto const bytes = format.dataType.byteCount();
    for (int round = 0; round < 30; ++round) {
      auto const region = randomRegion(format.shape, random);
      Bytes expected(region.elementCount() * bytes), byElement(expected.size()), byRegion(expected.size());
      forEach(region, [&](VectorXu64 const & index, uint64_t position) {
        std::copy_n(&all[offsetOf(index, format)], bytes, &expected[position * bytes]);
        view->read(index, &byElement[position * bytes]);
      });
      view->readRegion(region, byRegion.data());
      ASSERT_EQ(byElement, expected) << region.toString();
      ASSERT_EQ(byRegion, expected) << region.toString();
    }
  }
}

TEST_P(ImageViewContract, WritesElementsAndRegions) {
  if (!offers(WRITE))
    return;
  std::mt19937 random(20240502);
  for (auto const & format : formats()) {
    auto const made = make(format.shape, format.dataType);
    auto const & view = made.view;
    auto const & samples = made.samples;
    auto expected = samples();
    auto const bytes = format.dataType.byteCount();
    for (int round = 0; round < 30; ++round) {
      auto const region = randomRegion(format.shape, random);
      Bytes source(region.elementCount() * bytes);
      std::generate(source.begin(), source.end(), [&] { return static_cast<uint8_t>(random()); });
      forEach(region, [&](VectorXu64 const & index, uint64_t position) {
        std::copy_n(&source[position * bytes], bytes, &expected[offsetOf(index, format)]);
        if (round % 2)
          view->write(index, &source[position * bytes]);
      });
      if (round % 2 == 0)
        view->writeRegion(region, source.data());
      ASSERT_EQ(samples(), expected) << region.toString();
    }
  }
}

TEST_P(ImageViewContract, RefusesPositionsOutside) {
  auto const made = make({4, 3}, DataTypeId::UINT8);
  auto const & view = made.view;
  auto const & samples = made.samples;
  auto const before = samples();
  Bytes scratch(64, 0xEE);
  auto const huge = ~uint64_t{0};
  auto const refuses = [this](ImageCapability capability, auto operation, std::string const & place) {
    if (offers(capability)) {
      EXPECT_THROW(operation(), InvalidArgument) << place;
    }
  };
  for (auto const & index : {VectorXu64{4, 0}, VectorXu64{0, 3}, VectorXu64{huge, 0}, VectorXu64{0}, VectorXu64{}}) {
    refuses(
        READ, [&] { view->read(index, scratch.data()); }, index.toString());
    refuses(
        WRITE, [&] { view->write(index, scratch.data()); }, index.toString());
  }
  for (auto const & region : {RegionXu64({1, 0}, {4, 1}), RegionXu64({0, 2}, {1, 2}), RegionXu64({huge - 1, 0}, {1, 1}),
                              RegionXu64({1, 1}, {huge - 1, 1}), RegionXu64({0}, {1}), RegionXu64({5, 0}, {0, 0})}) {
    refuses(
        READ, [&] { view->readRegion(region, scratch.data()); }, region.toString());
    refuses(
        WRITE, [&] { view->writeRegion(region, scratch.data()); }, region.toString());
  }
  EXPECT_EQ(samples(), before);
  EXPECT_EQ(scratch, Bytes(64, 0xEE));
}

TEST_P(ImageViewContract, KeepsCopiesOfFittingPropertiesAndOfMetadata) {
  if (!offers(WRITE))
    return;
  auto const view = make({4, 3}, DataTypeId::UINT16).view;
  view->setSpatialUnit("mm");
  view->setAxesInterpretation(ImageDimension::COLUMN | ImageDimension::SLICE);
  EXPECT_EQ(view->spatialUnit(), "mm");
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

  auto const mine = view->properties()->clone();
  view->setProperties(mine);
  mine->calibration().setUnit("changed");
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
  auto const made = make({4, 3}, DataTypeId::UINT16);
  auto const & view = made.view;
  auto const & samples = made.samples;
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
  float value = 2.5f;
  view->write({1, 2, 3}, &value);
  value = 0;
  view->read({1, 2, 3}, &value);
  EXPECT_EQ(value, 2.5f);
}

TEST_P(ImageViewContract, MemoryHoldsTheSamplesWhereTheIndexerSays) {
  if (!offers(MEMORY_ACCESS))
    return;
  for (auto const & format : formats()) {
    auto const made = make(format.shape, format.dataType);
    auto const & view = made.view;
    auto const & samples = made.samples;
    auto const all = samples();
    EXPECT_EQ(view->bufferSize(), all.size());
    auto * const memory = static_cast<uint8_t *>(view->buffer());
    ASSERT_EQ(std::as_const(*view).buffer(), memory);
    forEach(RegionXu64::createFullRegion(format.shape), [&](VectorXu64 const & index, uint64_t) {
      ASSERT_EQ(memory[static_cast<int64_t>(view->indexer().byteOffset(index))], all[offsetOf(index, format)]);
    });
  }
}

TEST_P(ImageViewContract, TellsItsOrigin) {
  auto const first = make({2, 2}, DataTypeId::UINT8).view;
  auto const origin = first->viewOrigin();
  ASSERT_NE(origin, nullptr);
  EXPECT_NE(origin->uid(), UidGenerator::UNDEFINED_UID);
  EXPECT_EQ(origin->uid(), first->viewOrigin()->uid());
  EXPECT_NE(origin->uid(), make({2, 2}, DataTypeId::UINT8).view->viewOrigin()->uid());
  EXPECT_FALSE(origin->displayName().empty());
  EXPECT_NE(origin->dataOrigin(), ViewDataOrigin::UNKNOWN);
  for (size_t parent = 0; parent < origin->parentCount(); ++parent)
    EXPECT_NE(origin->parent(parent)->uid(), origin->uid());
  EXPECT_THROW(origin->parent(origin->parentCount()), Error);
  EXPECT_EQ(first->extension(~size_t{0}), nullptr);
}

TEST_P(ImageViewContract, TilesCoverTheImageOnce) {
  auto const made = make({5, 4}, DataTypeId::UINT16);
  auto const & view = made.view;
  auto const & samples = made.samples;
  auto const tiling = view->tilingInfo();
  if (!tiling)
    return;
  auto expected = samples();
  std::vector<int> covered(20);
  for (size_t tile = 0; tile < tiling->tileCount(); ++tile) {
    auto const region = tiling->tileRegion(tile);
    Bytes data(region.elementCount() * 2);
    if (offers(READ)) {
      tiling->readTile(tile, data.data());
    } else {
      EXPECT_THROW(tiling->readTile(tile, data.data()), NotImplemented);
    }
    forEach(region, [&](VectorXu64 const & index, uint64_t position) {
      ++covered[offsetOf(index, {{5, 4}, DataTypeId::UINT8})];
      auto * const sample = &expected[offsetOf(index, {{5, 4}, DataTypeId::UINT16})];
      if (offers(READ)) {
        EXPECT_TRUE(std::equal(sample, sample + 2, &data[position * 2])) << index.toString();
      }
      if (offers(WRITE))
        std::fill_n(sample, 2, static_cast<uint8_t>(200 + tile));
    });
    std::fill(data.begin(), data.end(), static_cast<uint8_t>(200 + tile));
    if (offers(WRITE)) {
      tiling->writeTile(tile, data.data());
    } else {
      EXPECT_THROW(tiling->writeTile(tile, data.data()), NotImplemented);
    }
  }
  EXPECT_EQ(covered, std::vector<int>(20, 1));
  EXPECT_EQ(samples(), expected);
  EXPECT_THROW(tiling->tileRegion(tiling->tileCount()), Error);
}

TEST_P(ImageViewContract, ParallelFlagsAreTrue) {
  using enum ParallelAccessCapability;
  auto const made = make({64, 48}, DataTypeId::UINT16);
  auto const & view = made.view;
  auto const & samples = made.samples;
  auto const parallel = view->parallelAccess();
  ASSERT_NE(parallel, nullptr);
  if (!offers(READ)) {
    EXPECT_EQ((parallel->capabilities() & (PARALLEL_READ | PARALLEL_TILE_READ)).value(), 0u);
  }
  if (!offers(WRITE)) {
    EXPECT_EQ((parallel->capabilities() & (PARALLEL_WRITE | PARALLEL_TILE_WRITE)).value(), 0u);
  }

  auto const before = samples();
  std::vector<std::thread> threads;
  std::vector<Bytes> rows(48, Bytes(128));
  bool const reads = parallel->support(PARALLEL_READ), writes = parallel->support(PARALLEL_WRITE);
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
