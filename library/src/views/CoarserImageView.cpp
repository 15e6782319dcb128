#include "views/CoarserImageView.h"

#include "core/Guarded.h"
#include "core/ProgressReport.h"
#include "core/Waiting.h"
#include "views/BlockWalk.h"
#include "views/ImageViewProperties.h"
#include "views/RegionTransfer.h"
#include "zarnik/core/Error.h"
#include "zarnik/layout/RegionConverter.h"
#include "zarnik/metadata/ImageProperties.h"
#include "zarnik/metadata/MetadataNode.h"
#include "zarnik/values/Checked.h"
#include "zarnik/views/ImageViewFactory.h"
#include "zarnik/views/LodImageView.h"
#include "zarnik/views/ParallelAccessExtension.h"
#include "zarnik/views/ViewOriginExtension.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <numeric>

namespace zarnik {
namespace {

// Of a block and what it is computed from, in double precision: a few MiB.
constexpr double BLOCK_SAMPLES = 65536;

/// The index of a dimension in space, 3 for the others. Of an image that does not tell, the first three are spatial.
size_t spatialAxis(ImageView const & image, size_t axis) {
  auto const axes = image.axesInterpretation();
  auto const dimension = axes.dimensionCount() == 0 ? axis : static_cast<size_t>(axes.dimension(axis));
  return std::min<size_t>(dimension, 3);
}

VectorXu64 halvingSteps(ImageView const & image) {
  auto const & shape = image.shape();
  auto steps = VectorXu64::createUniform(shape.size(), 1);
  for (size_t axis = 0; axis < shape.size(); ++axis)
    if (spatialAxis(image, axis) < 3 && shape[axis] > 1)
      steps[axis] = 2;
  return steps;
}

/// The properties of a level whose samples stand for two of the image along some dimensions.
std::shared_ptr<ImageProperties const> coarserProperties(std::shared_ptr<ImageView> const & image,
                                                         VectorXu64 const & steps, LevelMethod method) {
  auto properties = ImageViewFactory::everyNth(image, steps)->properties()->clone();
  if (method == LevelMethod::NEAREST)
    return properties;
  // A mean lies in the middle of what it is the mean of.
  auto const propertiesBefore = toldProperties(*image);
  auto const & before = propertiesBefore->calibration();
  auto origin = properties->calibration().origin();
  Vector3d const directions[] = {before.directions().columnDirection(), before.directions().rowDirection(),
                                 before.directions().sliceDirection()};
  for (size_t axis = 0; axis < steps.size(); ++axis) {
    if (auto const spatial = spatialAxis(*image, axis); steps[axis] == 2 && spatial < 3)
      for (size_t component = 0; component < 3; ++component)
        origin[component] += directions[spatial][component] * before.spacing()[spatial] / 2;
  }
  properties->calibration().setOrigin(origin);
  return properties;
}

/// Replaces pairs of neighbours along an axis by their mean; one without a neighbour stays.
/// \param stride values from one to the next along the axis
/// \param outer  how many such axes follow each other
void halve(double * values, uint64_t stride, uint64_t count, uint64_t outer) {
  auto const half = count - count / 2;
  for (uint64_t line = 0; line < outer; ++line) {
    for (uint64_t index = 0; index < half; ++index) {
      auto const * const first = values + (line * count + 2 * index) * stride;
      auto const * const second = 2 * index + 1 < count ? first + stride : first;
      auto * const mean = values + (line * half + index) * stride;
      for (uint64_t value = 0; value < stride; ++value)
        mean[value] = first[value] * 0.5 + second[value] * 0.5;
    }
  }
}

LevelMethod methodFor(ImageView const & image, LevelMethod method) {
  if (method != LevelMethod::BY_INTERPRETATION)
    return method;
  auto const interpretation = image.imageInterpretation();
  bool const isLabel = interpretation == ImageInterpretation::LABEL || interpretation == ImageInterpretation::BINARY;
  return isLabel ? LevelMethod::NEAREST : LevelMethod::MEAN;
}

VectorXu64 halved(VectorXu64 const & shape, VectorXu64 const & steps) {
  auto result = shape;
  for (size_t axis = 0; axis < shape.size(); ++axis)
    result[axis] = shape[axis] / steps[axis] + (shape[axis] % steps[axis] != 0);
  return result;
}

} // namespace

CoarserImageView::CoarserImageView(std::shared_ptr<ImageView> finer, LevelMethod method, std::string const & folder)
    : StoredImageView(halved(finer->shape(), halvingSteps(*finer)), finer->dataType(),
                      coarserProperties(finer, halvingSteps(*finer), method), finer->metadata()),
      finer_(std::move(finer)), method_(method), steps_(halvingSteps(*finer_)),
      samples_(ImageViewFactory::createOnDisk(folder, halved(finer_->shape(), steps_), finer_->dataType())),
      blocks_(VectorXu64::createUniform(steps_.size(), 1)),
      origin_(ViewOriginExtension::derive("coarser level", {finer_})) {
  if (method == LevelMethod::MEAN)
    scalarTypeOf(finer_->dataType()); // refuses what has no mean
  auto const reduced = std::max<double>(static_cast<double>(std::ranges::count(steps_, uint64_t{2})), 1);
  auto const samples = BLOCK_SAMPLES / static_cast<double>(ComponentFormat(finer_->dataType()).count);
  auto const extent = std::max<uint64_t>(static_cast<uint64_t>(std::pow(samples, 1 / reduced)), 1);
  grid_ = shape();
  uint64_t count = 1;
  for (size_t axis = 0; axis < grid_.size(); ++axis) {
    if (steps_[axis] == 2)
      blocks_[axis] = extent;
    grid_[axis] = shape()[axis] / blocks_[axis] + (shape()[axis] % blocks_[axis] != 0);
    count = checkedMultiply(count, grid_[axis], "blocks of a level");
  }
  isThere_.resize(count);
}

CoarserImageView::~CoarserImageView() = default;

std::shared_ptr<Extension> CoarserImageView::extension(size_t id) const {
  switch (id) {
  case ViewOriginExtension::EXTENSION_ID:
    return origin_;
  case ParallelAccessExtension::EXTENSION_ID:
    return guarded([] { return ParallelAccessExtension::create(ParallelAccessCapability::PARALLEL_READ); });
  default:
    return nullptr;
  }
}

ImageCapabilitySet CoarserImageView::capabilities() const { return ImageCapability::READ; }
VectorXu64 const & CoarserImageView::shape() const { return samples_->shape(); }
DataType CoarserImageView::dataType() const { return samples_->dataType(); }

void CoarserImageView::read(VectorXu64 const & index, void * destination) {
  readRegion(RegionXu64(index, VectorXu64::createUniform(index.size(), 1)), destination);
}

void CoarserImageView::readRegion(RegionXu64 const & region, void * destination) {
  guarded([&] {
    requireInside(region, shape());
    if (region.elementCount() == 0)
      return;
    makeSure(region);
    samples_->readRegion(region, destination);
  });
}

RegionXu64 CoarserImageView::blockAt(VectorXu64 const & place) const {
  VectorXu64 origin(place.size()), size(place.size());
  for (size_t axis = 0; axis < place.size(); ++axis) {
    origin[axis] = place[axis] * blocks_[axis];
    size[axis] = std::min(blocks_[axis], shape()[axis] - origin[axis]);
  }
  return {origin, size};
}

void CoarserImageView::makeSureOfBlock(VectorXu64 const & place) {
  uint64_t number = 0, stride = 1;
  for (size_t axis = 0; axis < place.size(); ++axis) {
    number += place[axis] * stride;
    stride *= grid_[axis];
  }
  Turn const turn(computing_);
  if (isThere_[number])
    return;
  auto const block = blockAt(place);
  compute(block.origin(), block.size());
  isThere_[number] = true;
}

void CoarserImageView::makeSure(RegionXu64 const & region) {
  auto const rank = grid_.size();
  VectorXu64 first(rank), count(rank);
  for (size_t axis = 0; axis < rank; ++axis) {
    first[axis] = region.origin()[axis] / blocks_[axis];
    count[axis] = (region.origin()[axis] + region.size()[axis] - 1) / blocks_[axis] - first[axis] + 1;
  }
  forEachBlock(count, VectorXu64::createUniform(rank, 1), VectorXu64(rank),
               [&](VectorXu64 const & index, VectorXu64 const &) { makeSureOfBlock(first + index); });
}

void CoarserImageView::computeAll(std::function<void(uint64_t)> const & advance) {
  auto const rank = grid_.size();
  forEachBlock(grid_, VectorXu64::createUniform(rank, 1), VectorXu64(rank),
               [&](VectorXu64 const & place, VectorXu64 const &) {
                 makeSureOfBlock(place);
                 advance(blockAt(place).elementCount() * dataType().byteCount());
               });
}

void CoarserImageView::compute(VectorXu64 const & origin, VectorXu64 const & size) {
  ComponentFormat const format(dataType());
  auto const rank = size.size();
  auto from = SampleRegion::whole(RegionXu64(origin, size), dataType());
  for (size_t axis = 0; axis < rank; ++axis)
    from.origin[axis] *= steps_[axis];
  if (method_ == LevelMethod::NEAREST) {
    from.step = steps_;
    auto const bytes = Indexer(size, dataType()).byteCount();
    auto const block = allocateBlock(bytes);
    readSamples(*finer_, from, {}, block.get(), SampleStrides::dense(size, format.count, format.bytes));
    return samples_->writeRegion(RegionXu64(origin, size), block.get());
  }
  for (size_t axis = 0; axis < rank; ++axis)
    from.size[axis] = std::min(size[axis] * steps_[axis], finer_->shape()[axis] - from.origin[axis]);
  auto const scalar = scalarTypeOf(dataType());
  ValueConversion toDouble(scalar), fromDouble(ScalarType::F64);
  toDouble.add({ScalarType::F64, {}});
  fromDouble.add({scalar, {}});

  std::vector<double> values(RegionXu64(from.origin, from.size).elementCount() * format.count);
  readSamples(*finer_, from, toDouble, values.data(), SampleStrides::dense(from.size, format.count, sizeof(double)));
  auto extents = from.size;
  auto stride = format.count;
  for (size_t axis = 0; axis < rank; ++axis) {
    if (steps_[axis] == 2) {
      uint64_t outer = 1;
      for (size_t further = axis + 1; further < rank; ++further)
        outer *= extents[further];
      halve(values.data(), stride, extents[axis], outer);
      extents[axis] = size[axis];
    }
    stride *= extents[axis];
  }
  writeSamples(*samples_, SampleRegion::whole(RegionXu64(origin, size), dataType()), fromDouble, values.data(),
               SampleStrides::dense(size, format.count, sizeof(double)));
}

std::shared_ptr<LodImageView> LodImageViewFactory::createLevels(std::shared_ptr<ImageView> image, LevelMethod method,
                                                                uint64_t coarsestSize, std::string const & folder) {
  if (!image)
    throw InvalidArgument("the image to make levels of cannot be null");
  if (!image->support(ImageCapability::READ))
    throw NotImplemented("an image that does not support READ has no coarser levels");
  return guarded([&] {
    method = methodFor(*image, method);
    std::vector<std::shared_ptr<ImageView>> levels{std::move(image)};
    auto const isCoarse = [&](ImageView const & level) {
      for (size_t axis = 0; axis < level.shape().size(); ++axis)
        if (spatialAxis(level, axis) < 3 && level.shape()[axis] > std::max<uint64_t>(coarsestSize, 1))
          return false;
      return true;
    };
    while (!isCoarse(*levels.back()))
      levels.push_back(std::make_shared<CoarserImageView>(levels.back(), method, folder));
    return createFromLevels(std::move(levels));
  });
}

void LodImageViewFactory::computeLevels(LodImageView const & levels, Progress const & progress) {
  guarded([&] {
    auto const range = levels.levelRange();
    std::vector<std::shared_ptr<CoarserImageView>> computed; // the finer ones first, of which the others are made
    uint64_t bytes = 0;
    for (auto level = range[0]; level <= range[1]; ++level) {
      if (auto coarser = std::dynamic_pointer_cast<CoarserImageView>(levels.resolution(level))) {
        bytes += Indexer(coarser->shape(), coarser->dataType()).byteCount();
        computed.push_back(std::move(coarser));
      }
    }
    ProgressReport report("computing the levels of an image", bytes, progress);
    for (auto const & level : computed)
      level->computeAll([&](uint64_t amount) { report.advance(amount); });
  });
}

} // namespace zarnik
