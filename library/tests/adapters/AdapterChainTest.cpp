#include "adapters/AdapterSources.h"
#include "zarnik/metadata/SpatialCalibrationProperty.h"
#include "zarnik/values/ArrayX.h"
#include "zarnik/views/TilingInfoExtension.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <numeric>
#include <random>

// Random chains of adapters against a model that knows of each sample where it is, and computes one value at a time.

namespace zarnik::test {
namespace {

using Factory = ImageViewFactory;

/// Calls visit with a value of the scalar type.
auto withScalar(DataType type, auto visit) {
  switch (static_cast<DataTypeId>(DataType::extractScalarType(type).id())) {
  case DataTypeId::UINT8:
    return visit(uint8_t());
  case DataTypeId::INT16:
    return visit(int16_t());
  case DataTypeId::UINT16:
    return visit(uint16_t());
  case DataTypeId::FLOAT:
    return visit(float());
  default:
    return visit(double());
  }
}

double load(uint8_t const * from, DataType type) {
  return withScalar(type, [from](auto value) {
    std::memcpy(&value, from, sizeof value);
    return static_cast<double>(value);
  });
}

void store(double value, uint8_t * to, DataType type) {
  withScalar(type, [=]<typename T>(T converted) {
    converted = static_cast<T>(value);
    std::memcpy(to, &converted, sizeof converted);
  });
}

size_t componentBytes(DataType type) { return type.bitDepth() / 8; }

double converted(double value, DataType type) {
  if (type.primitiveType() == PrimitiveTypeId::FLOATING_POINT)
    return type.bitDepth() == 32 ? static_cast<float>(value) : value;
  if (std::isnan(value))
    return 0;
  auto const range = DataType::standardRange(type);
  return std::clamp(std::nearbyint(value), range[0], range[1]);
}

struct Chain {
  struct Step {
    DataType before, after;
    double scale = 1, offset = 0;
  };

  Chain() = default;
  /// Of no adapters yet.
  explicit Chain(Image source) : image(std::move(source)), shape(image->shape()) {
    cells.resize(elementCount(shape) * components());
    std::iota(cells.begin(), cells.end(), size_t{0});
  }

  double forward(double value) const {
    for (auto const & step : steps)
      value = converted(value * step.scale + step.offset, step.after);
    return value;
  }

  double backward(double value) const {
    for (auto step = steps.rbegin(); step != steps.rend(); ++step)
      value = converted((value - step->offset) / step->scale, step->before);
    return value;
  }

  size_t components() const { return image->dataType().elementCount(); }
  size_t cellOf(VectorXu64 const & index, size_t component) const {
    return cells[positionOf(index, shape) * components() + component];
  }

  /// Keeps the cells that the function names for each sample of a shape.
  template <typename From> void take(VectorXu64 newShape, size_t newComponents, From from) {
    std::vector<size_t> taken;
    auto const count = elementCount(newShape);
    for (uint64_t position = 0; position < count; ++position)
      for (size_t component = 0; component < newComponents; ++component)
        taken.push_back(from(indexOf(position, newShape), component));
    cells = std::move(taken);
    shape = newShape;
  }

  Image image;
  VectorXu64 shape;
  std::vector<size_t> cells; // of each component of each sample, the component of which sample of the source
  std::vector<Step> steps;
  bool isReadOnly = false;
};

class RandomChains {
public:
  /// \param keepsSpace whether spatial axes stay spatial
  explicit RandomChains(uint64_t seed, bool keepsSpace = false) : random_(seed), keepsSpace_(keepsSpace) {}

  uint64_t operator()() { return random_(); }
  uint64_t below(uint64_t count) { return count == 0 ? 0 : random_() % count; }

  VectorXu64 shape() {
    VectorXu64 shape(1 + below(5));
    for (auto & extent : shape)
      extent = below(25) == 0 ? 0 : 1 + below(shape.size() > 3 ? 4 : 7);
    return shape;
  }

  DataType scalarType() {
    DataTypeId const types[] = {DataTypeId::UINT8, DataTypeId::INT16, DataTypeId::UINT16, DataTypeId::FLOAT,
                                DataTypeId::DOUBLE};
    return types[below(5)];
  }

  DataType type() {
    auto const scalar = scalarType();
    return below(2) ? scalar : DataType(scalar.primitiveType(), scalar.bitDepth(), 2 + below(3));
  }

  /// Adds a random adapter that the image at hand allows.
  void extend(Chain & chain) {
    auto const before = chain.image;
    auto const axes = before->axesInterpretation();
    auto const components = chain.components();
    auto const old = chain;
    auto const rank = chain.shape.size();
    auto const channelAxis = axes.has(ImageDimension::CHANNEL) ? axes.indexDimension(ImageDimension::CHANNEL) : rank;
    bool const hasChannels = components == 1 && channelAxis < rank && rank > 1 && chain.shape[channelAxis] != 0;
    switch (below(10)) {
    case 0:
    case 1: {
      VectorXu64 origin(rank), size(rank);
      for (size_t axis = 0; axis < rank; ++axis) {
        origin[axis] = below(2) ? below(chain.shape[axis]) : 0;
        auto const most = chain.shape[axis] - origin[axis];
        size[axis] = below(2) ? most - below(most) : most;
      }
      chain.image = Factory::extractRegion(before, {origin, size});
      return chain.take(size, components, [&](VectorXu64 const & index, size_t component) {
        return old.cellOf(index + origin, component);
      });
    }
    case 2: {
      auto const axis = below(rank);
      chain.image =
          below(2) && axes != ImageType() ? Factory::flip(before, axes.dimension(axis)) : Factory::flip(before, axis);
      return chain.take(chain.shape, components, [&](VectorXu64 index, size_t component) {
        index[axis] = old.shape[axis] - 1 - index[axis];
        return old.cellOf(index, component);
      });
    }
    case 3: {
      auto const step = 1 + below(3);
      auto const isWhole = below(3) == 0;
      auto size = chain.shape;
      VectorXu64 steps = VectorXu64::createUniform(rank, 1);
      for (size_t axis = 0; axis < rank; ++axis)
        if (!isWhole || (axes == ImageType() ? axis < 3 : axes.dimension(axis) <= ImageDimension::SLICE)) {
          steps[axis] = step;
          size[axis] = (size[axis] + step - 1) / step;
        }
      chain.isReadOnly |= isWhole;
      chain.image = isWhole ? Factory::subSample(before, step) : Factory::everyNth(before, steps);
      return chain.take(size, components, [&](VectorXu64 const & index, size_t component) {
        return old.cellOf(index * steps, component);
      });
    }
    case 4: {
      if (axes == ImageType() || rank < 2 || (keepsSpace_ && axes.has(ImageDimension::CHANNEL)))
        return;
      std::vector<ImageDimension> dimensions = {ImageDimension::COLUMN, ImageDimension::ROW, ImageDimension::SLICE};
      if (!keepsSpace_)
        dimensions.push_back(ImageDimension::SEQUENCE);
      if (rank == 5 || axes.has(ImageDimension::CHANNEL))
        dimensions.push_back(ImageDimension::CHANNEL);
      std::shuffle(dimensions.begin(), dimensions.end(), random_);
      dimensions.resize(rank);
      VectorXu64 order(rank), size(rank);
      std::iota(order.begin(), order.end(), 0);
      std::ranges::sort(order, {}, [&](auto axis) { return dimensions[axis]; });
      for (size_t axis = 0; axis < rank; ++axis)
        size[axis] = chain.shape[order[axis]];
      chain.image = Factory::reinterpretAxes(before, dimensions.data(), rank);
      return chain.take(size, components, [&](VectorXu64 const & index, size_t component) {
        VectorXu64 oldIndex(rank);
        for (size_t axis = 0; axis < rank; ++axis)
          oldIndex[order[axis]] = index[axis];
        return old.cellOf(oldIndex, component);
      });
    }
    case 5: {
      auto const flat = below(rank);
      if (rank < 2 || chain.shape[flat] == 0)
        return;
      VectorXu64 origin(rank);
      auto size = chain.shape;
      origin[flat] = below(size[flat]);
      size[flat] = 1;
      chain.image = Factory::extractAdjustedRegion(before, {origin, size});
      std::vector<uint64_t> left;
      for (size_t axis = 0; axis < rank; ++axis)
        if (size[axis] != 1)
          left.push_back(axis);
      if (left.empty())
        left.push_back(0);
      VectorXu64 packed(left.size());
      std::ranges::transform(left, packed.begin(), [&](auto axis) { return size[axis]; });
      return chain.take(packed, components, [&](VectorXu64 const & index, size_t component) {
        auto oldIndex = origin;
        for (size_t axis = 0; axis < left.size(); ++axis)
          oldIndex[left[axis]] += index[axis];
        return old.cellOf(oldIndex, component);
      });
    }
    case 6: {
      if (!hasChannels && components == 1 && channelAxis < rank)
        return;
      auto const channel = below(hasChannels ? chain.shape[channelAxis] : components);
      chain.image = Factory::extractChannel(before, channel);
      return chain.take(
          hasChannels ? without(chain.shape, channelAxis) : chain.shape, 1, [&](VectorXu64 const & index, size_t) {
            return hasChannels ? old.cellOf(with(index, channelAxis, channel), 0) : old.cellOf(index, channel);
          });
    }
    case 7: {
      if (components > 1 && channelAxis == rank && axes != ImageType()) {
        chain.image = Factory::disassembleChannels(before);
        auto const axis = chain.image->axesInterpretation().indexDimension(ImageDimension::CHANNEL);
        return chain.take(with(chain.shape, axis, components), 1, [&](VectorXu64 const & index, size_t) {
          return old.cellOf(without(index, axis), index[axis]);
        });
      }
      if (!hasChannels)
        return;
      chain.image = Factory::assembleChannels(before);
      return chain.take(without(chain.shape, channelAxis), chain.shape[channelAxis],
                        [&](VectorXu64 const & index, size_t component) {
                          return old.cellOf(with(index, channelAxis, component), 0);
                        });
    }
    default: {
      auto const scalar = scalarType();
      DataType const type(scalar.primitiveType(), scalar.bitDepth(), components);
      Chain::Step step{DataType::extractScalarType(before->dataType()), scalar};
      if (below(2)) {
        chain.image = Factory::adaptDataType(before, type);
      } else {
        // Powers of two, which are exact in both directions.
        step.scale = std::ldexp(1.0, static_cast<int>(below(5)) - 2) * (below(2) ? 1 : -1);
        step.offset = static_cast<double>(below(16));
        chain.image = Factory::adaptDynamicRange(before, type, {0, 64}, {step.offset, step.offset + 64 * step.scale});
      }
      chain.steps.push_back(step);
    }
    }
  }

private:
  std::mt19937_64 random_;
  bool keepsSpace_;
};

uint64_t seedOfTests() {
  auto const * const seed = std::getenv("ZARNIK_TEST_SEED");
  return seed == nullptr ? 20261122 : std::strtoull(seed, nullptr, 10);
}

struct Case {
  Case(RandomChains & random, SourceKind const & kind) {
    sourceShape = random.shape();
    type = random.type();
    source = kind.make(sourceShape, type);
    chain = Chain(source.view);
    for (auto const cell : chain.cells) {
      values.push_back(static_cast<double>(random.below(200)));
      store(values.back(), at(cell), type);
    }
    auto const length = 1 + random.below(8);
    for (uint64_t n = 0; n < length; ++n)
      random.extend(chain);
  }

  uint8_t * at(uint64_t cell) const {
    return source.element(indexOf(cell / type.elementCount(), sourceShape)) +
           cell % type.elementCount() * componentBytes(type);
  }

  VectorXu64 sourceShape;
  DataType type;
  Source source;
  Chain chain;
  std::vector<double> values; // of the source's cells
};

/// Calls visit(cell of the source, place in the dense region) for every component of a region.
template <typename Visit> void forEachCell(Chain const & chain, RegionXu64 const & region, Visit visit) {
  forEach(region, [&](VectorXu64 const & index, uint64_t position) {
    for (size_t component = 0; component < chain.components(); ++component)
      visit(chain.cellOf(index, component), position * chain.components() + component);
  });
}

class AdapterChains : public testing::TestWithParam<SourceKind> {};

TEST_P(AdapterChains, ReadWhatTheModelReads) {
  RandomChains random(seedOfTests());
  for (int round = 0; round < 1500; ++round) {
    Case const one(random, GetParam());
    auto const & chain = one.chain;
    SCOPED_TRACE(chain.image->toString());
    ASSERT_EQ(chain.image->shape(), chain.shape);
    auto const type = chain.image->dataType();
    auto const region = round % 3 ? randomRegion(chain.shape, random) : whole(*chain.image);
    Bytes read(region.elementCount() * type.byteCount() + 1, 0xEE);
    chain.image->readRegion(region, read.data());
    ASSERT_EQ(read.back(), 0xEE);
    forEachCell(chain, region, [&](size_t cell, size_t place) {
      ASSERT_EQ(load(&read[place * componentBytes(type)], type), chain.forward(one.values[cell]));
    });
    if (HasFatalFailure())
      return;
    if (elementCount(chain.shape) == 0)
      continue;
    auto const index = indexOf(random.below(elementCount(chain.shape)), chain.shape);
    Bytes element(type.byteCount());
    chain.image->read(index, element.data());
    ASSERT_EQ(load(element.data(), type), chain.forward(one.values[chain.cellOf(index, 0)]));
  }
}

TEST_P(AdapterChains, WriteWhatTheModelWrites) {
  using enum ImageCapability;
  RandomChains random(seedOfTests() + 1);
  for (int round = 0; round < 1500; ++round) {
    Case one(random, GetParam());
    auto const & chain = one.chain;
    SCOPED_TRACE(chain.image->toString());
    ASSERT_EQ(chain.image->support(WRITE), GetParam().capabilities.has(WRITE) && !chain.isReadOnly);
    auto const type = chain.image->dataType();
    auto const region = randomRegion(chain.shape, random);
    Bytes written(region.elementCount() * type.byteCount());
    for (size_t n = 0; n < written.size() / componentBytes(type); ++n)
      store(static_cast<double>(random.below(100)), &written[n * componentBytes(type)], type);
    if (!chain.image->support(WRITE)) {
      EXPECT_THROW(chain.image->writeRegion(region, written.data()), NotImplemented);
      continue;
    }
    forEachCell(chain, region, [&](size_t cell, size_t place) {
      one.values[cell] = chain.backward(load(&written[place * componentBytes(type)], type));
    });
    chain.image->writeRegion(region, written.data());
    for (size_t cell = 0; cell < one.values.size(); ++cell)
      ASSERT_EQ(load(one.at(cell), one.type), one.values[cell]) << cell;
  }
}

TEST_P(AdapterChains, SharedMemoryHoldsTheSamples) {
  RandomChains random(seedOfTests() + 2);
  int shared = 0;
  for (int round = 0; round < 1000; ++round) {
    Case const one(random, GetParam());
    auto const & chain = one.chain;
    if (!chain.steps.empty() || !chain.image->support(ImageCapability::MEMORY_ACCESS))
      continue;
    ++shared;
    auto const type = chain.image->dataType();
    auto const * const memory = static_cast<uint8_t const *>(chain.image->buffer());
    forEachCell(chain, whole(*chain.image), [&](size_t cell, size_t place) {
      auto const index = indexOf(place / chain.components(), chain.shape);
      auto const * const element = memory + static_cast<int64_t>(chain.image->indexer().byteOffset(index));
      ASSERT_EQ(element + place % chain.components() * componentBytes(type), one.at(cell)) << chain.image->toString();
    });
  }
  EXPECT_EQ(shared > 100, GetParam().capabilities.has(ImageCapability::MEMORY_ACCESS));
}

Vector3d worldOf(ImageView const & image, VectorXu64 const & index) {
  auto const directions = image.spatialDirections();
  auto const spacing = image.spatialSpacing();
  auto const axes = image.axesInterpretation();
  Vector3d const along[] = {directions.columnDirection(), directions.rowDirection(), directions.sliceDirection()};
  auto position = image.spatialOrigin();
  for (size_t axis = 0; axis < index.size(); ++axis) {
    auto const dimension = axes == ImageType() ? axis : static_cast<size_t>(axes.dimension(axis));
    if (dimension < 3)
      position += along[dimension] * (spacing[dimension] * static_cast<double>(index[axis]));
  }
  return position;
}

TEST(AdapterCalibration, EverySampleStaysWhereItIsInSpace) {
  RandomChains random(seedOfTests() + 3, true);
  for (int round = 0; round < 2000; ++round) {
    VectorXu64 const shape{1 + random.below(6), 1 + random.below(6), 1 + random.below(6)};
    auto const image = ImageViewFactory::allocate(shape, random.type());
    auto const angle = static_cast<double>(random.below(1000));
    image->setSpatialDirections({{std::cos(angle), std::sin(angle), 0}, {-std::sin(angle), std::cos(angle), 0}});
    image->setSpatialOrigin({1, -2, 3});
    image->setSpatialSpacing({0.5, random.below(2) ? 2.0 : -3.0, 1.5});
    Chain chain(image);
    for (int n = 0; n < 8; ++n)
      random.extend(chain);
    auto const index = indexOf(random.below(elementCount(chain.shape)), chain.shape);
    auto const cell = chain.cellOf(index, 0) / image->dataType().elementCount();
    auto const expected = worldOf(*image, indexOf(cell, shape));
    auto const found = worldOf(*chain.image, index);
    ASSERT_LT((found - expected).length(), 1e-9)
        << chain.image->toString() << " " << found.toString() << " for " << expected.toString();
  }
}

/// A chain over an image of somebody else.
struct ForeignChain {
  ForeignChain(RandomChains & random, uint64_t tileSize)
      : source(std::make_shared<ForeignImage>(random.shape(), random.type(), ImageCapabilitySet(ImageCapability::READ),
                                              tileSize)),
        chain(source) {
    for (int n = 0; n < 8; ++n)
      random.extend(chain);
  }

  VectorXu64 sourceIndex(size_t cell) const {
    return indexOf(cell / source->dataType().elementCount(), source->shape());
  }

  std::shared_ptr<ForeignImage> source;
  Chain chain;
};

TEST(AdapterReading, AsksTheSourceForNoMoreThanItNeeds) {
  RandomChains random(seedOfTests() + 4);
  for (int round = 0; round < 1000; ++round) {
    ForeignChain const made(random, 0);
    auto const & source = made.source;
    auto const & chain = made.chain;
    SCOPED_TRACE(chain.image->toString());
    ASSERT_EQ(source->reads, 0u) << "making views reads";
    auto const region = randomRegion(chain.shape, random);
    Bytes read(region.elementCount() * chain.image->dataType().byteCount());
    chain.image->readRegion(region, read.data());
    // The box around all samples needed, all components of which come along.
    auto low = source->shape();
    VectorXu64 high(low.size());
    forEachCell(chain, region, [&](size_t cell, size_t) {
      auto const index = made.sourceIndex(cell);
      for (size_t axis = 0; axis < index.size(); ++axis) {
        low[axis] = std::min(low[axis], index[axis]);
        high[axis] = std::max(high[axis], index[axis] + 1);
      }
    });
    bool const isEmpty = region.elementCount() == 0;
    auto const asked = isEmpty ? 0 : elementCount(high - low);
    // Of components that are a dimension with steps, each is read on its own.
    ASSERT_LE(source->elementsRead, asked * std::max<uint64_t>(source->reads, 1));
    ASSERT_LE(source->reads, isEmpty ? 0u : source->dataType().elementCount());
  }
}

TEST(AdapterTiles, AreThePartsOfTheSourcesTiles) {
  RandomChains random(seedOfTests() + 5);
  uint64_t constexpr extent = 3; // of the source's tiles
  for (int round = 0; round < 1000; ++round) {
    ForeignChain const made(random, extent);
    auto const & chain = made.chain;
    SCOPED_TRACE(chain.image->toString());
    auto const tiling = chain.image->tilingInfo();
    ASSERT_TRUE(tiling);
    auto const tileOf = [&](VectorXu64 const & index) {
      auto tile = made.sourceIndex(chain.cellOf(index, 0));
      std::ranges::for_each(tile, [](auto & place) { place /= extent; });
      return tile;
    };
    std::vector<VectorXu64> seen; // tiles of the source
    VectorXu64 largest(chain.shape.size());
    uint64_t covered = 0;
    for (size_t tile = 0; tile < tiling->tileCount(); ++tile) {
      auto const region = tiling->tileRegion(tile);
      seen.push_back(tileOf(region.origin()));
      forEach(region, [&](auto const & index, uint64_t) { ASSERT_EQ(tileOf(index), seen.back()); });
      for (size_t axis = 0; axis < largest.size(); ++axis)
        largest[axis] = std::max(largest[axis], region.size()[axis]);
      covered += region.elementCount();
      Bytes byTile(region.elementCount() * chain.image->dataType().byteCount()), byRegion(byTile);
      tiling->readTile(tile, byTile.data());
      chain.image->readRegion(region, byRegion.data());
      ASSERT_EQ(byTile, byRegion);
    }
    // All elements once, and no tile of the source in two of the view's.
    ASSERT_EQ(covered, elementCount(chain.shape));
    for (auto const & tile : seen)
      ASSERT_EQ(std::ranges::count(seen, tile), 1);
    // A view of the whole source tells what that does, which may be more.
    for (size_t axis = 0; axis < largest.size(); ++axis)
      ASSERT_GE(tiling->maxTileSize()[axis], largest[axis]);
    ASSERT_EQ(tiling->tilingGrid().indexer().elementCount(), tiling->tileCount());
    EXPECT_THROW(static_cast<void>(tiling->tileRegion(tiling->tileCount())), InvalidArgument);
  }
}

INSTANTIATE_TEST_SUITE_P(Over, AdapterChains, testing::ValuesIn(sourceKinds()), nameOf);

} // namespace
} // namespace zarnik::test
