#include "adapters/Draft.h"

#include "metadata/ImageInterpretationTable.h"
#include "zarnik/core/Error.h"
#include "zarnik/layout/RegionConverter.h"
#include "zarnik/metadata/ImageProperties.h"

#include <algorithm>
#include <fmt/format.h>
#include <numeric>
#include <utility>

namespace zarnik {
namespace {

VectorXu64 without(VectorXu64 const & vector, size_t axis) {
  VectorXu64 result(vector.size() - 1);
  std::copy_n(vector.begin(), axis, result.begin());
  std::copy(vector.begin() + axis + 1, vector.end(), result.begin() + axis);
  return result;
}

} // namespace

std::vector<SpatialFrame::Meaning> meaningsOf(ImageType const & axes, size_t rank) {
  std::vector<SpatialFrame::Meaning> meanings(rank);
  for (size_t axis = 0; axis < rank; ++axis) {
    if (axis < axes.dimensionCount())
      meanings[axis] = axes.dimension(axis);
    else if (axes == ImageType() && axis < 3)
      meanings[axis] = static_cast<ImageDimension>(axis);
  }
  return meanings;
}

std::string nameOf(ImageDimension dimension) {
  auto const name = (ImageType() | dimension).toString();
  return name.substr(1, name.size() - 2);
}

DataType typeOfComponents(DataType component, uint64_t count) {
  if (count < 1 || count > 255)
    throw InvalidArgument(fmt::format("{} components do not fit a type, allowed are 1 to 255", count));
  return {component.primitiveType(), component.bitDepth(), count};
}

Draft::Draft(std::shared_ptr<ImageView> image)
    : image_(std::move(image)), properties_(validProperties(image_)), adaptation_(Adaptation::of(image_)),
      info_(properties_->imageInfo()), knowsAxes_(info_.axesInterpretation() != ImageType()),
      meanings_(meaningsOf(info_.axesInterpretation(), rank())), frame_(properties_->calibration(), meanings_) {}

bool Draft::has(ImageDimension dimension) const {
  return knowsAxes_ && std::find(meanings_.begin(), meanings_.end(), dimension) != meanings_.end();
}

size_t Draft::axisOf(ImageDimension dimension) const {
  auto const name = zarnik::nameOf(dimension); // refuses what is no dimension
  auto const found = std::find(meanings_.begin(), meanings_.end(), dimension);
  if (!knowsAxes_ || found == meanings_.end())
    throw InvalidArgument(
        fmt::format("the image has no dimension {}, its axes are {}", name, info_.axesInterpretation().toString()));
  return static_cast<size_t>(found - meanings_.begin());
}

std::string Draft::nameOf(size_t axis) const {
  return knowsAxes_ ? zarnik::nameOf(*meanings_[axis]) : fmt::format("axis {}", axis);
}

// The interpretation of the channels when some of them are left, in order.
void Draft::selectChannels(uint64_t first, uint64_t count, uint64_t total) {
  if (first == 0 && count == total)
    return;
  auto const * const model = findImageInterpretation(info_.interpretation());
  info_.setAlpha(false);
  // One channel may be a plane of a colour image; the colours without alpha are one still.
  bool const isModel = count == 1 || (first == 0 && model != nullptr && count == model->channelCount);
  if (model != nullptr && model->isColour && !isModel)
    info_.setInterpretation(ImageInterpretation::MULTISPECTRAL);
}

void Draft::crop(size_t axis, uint64_t origin, uint64_t size) {
  adaptation_.axes.crop(axis, origin);
  frame_.moveOrigin(meanings_[axis], origin);
  if (meanings_[axis] == ImageDimension::CHANNEL)
    selectChannels(origin, size, adaptation_.shape[axis]);
  adaptation_.shape[axis] = size;
}

void Draft::flip(size_t axis) {
  auto const extent = adaptation_.shape[axis];
  adaptation_.axes.flip(axis, extent);
  frame_.turn(meanings_[axis], extent);
  auto const * const model = findImageInterpretation(info_.interpretation());
  if (meanings_[axis] == ImageDimension::CHANNEL && extent > 1 && model != nullptr && model->isColour) {
    info_.setAlpha(false);
    info_.setInterpretation(ImageInterpretation::MULTISPECTRAL);
  }
}

void Draft::keepEvery(size_t axis, uint64_t step) {
  auto const extent = adaptation_.shape[axis];
  auto const size = extent / step + (extent % step != 0);
  adaptation_.axes.keepEvery(axis, step, extent);
  frame_.stretch(meanings_[axis], step);
  if (meanings_[axis] == ImageDimension::CHANNEL && size != extent)
    selectChannels(step, size, extent);
  adaptation_.shape[axis] = size;
}

void Draft::drop(size_t axis) {
  adaptation_.axes.drop(axis);
  adaptation_.shape = without(adaptation_.shape, axis);
  frame_.drop(meanings_[axis]);
  meanings_.erase(meanings_.begin() + static_cast<std::ptrdiff_t>(axis));
}

void Draft::extractComponent(uint64_t component) {
  auto const count = type().elementCount();
  adaptation_.axes.crop(rank(), component);
  adaptation_.axes.dropComponents();
  adaptation_.type = DataType::extractScalarType(type());
  selectChannels(component, 1, count);
}

void Draft::assemble(size_t axis) {
  adaptation_.type = typeOfComponents(type(), shape()[axis]);
  adaptation_.axes.dimensionToComponents(axis);
  adaptation_.shape = without(adaptation_.shape, axis);
  meanings_.erase(meanings_.begin() + static_cast<std::ptrdiff_t>(axis));
}

void Draft::disassemble() {
  size_t axis = rank();
  if (knowsAxes_)
    while (axis > 0 && *meanings_[axis - 1] > ImageDimension::CHANNEL)
      --axis;
  auto const count = type().elementCount();
  adaptation_.axes.componentsToDimension(axis);
  VectorXu64 shape(rank() + 1);
  std::copy_n(adaptation_.shape.begin(), axis, shape.begin());
  shape[axis] = count;
  std::copy(adaptation_.shape.begin() + axis, adaptation_.shape.end(), shape.begin() + axis + 1);
  adaptation_.shape = std::move(shape);
  adaptation_.type = DataType::extractScalarType(type());
  auto const added = knowsAxes_ ? SpatialFrame::Meaning(ImageDimension::CHANNEL) : std::nullopt;
  meanings_.insert(meanings_.begin() + static_cast<std::ptrdiff_t>(axis), added);
}

void Draft::rename(std::vector<SpatialFrame::Meaning> const & meanings) {
  knowsAxes_ = !meanings.empty() && meanings.front().has_value();
  auto const renamed = knowsAxes_ ? meanings : meaningsOf(ImageType(), rank());
  frame_.rename(meanings_, renamed);
  VectorXu64 order(rank());
  std::iota(order.begin(), order.end(), uint64_t{0});
  if (knowsAxes_)
    std::sort(order.begin(), order.end(),
              [&](uint64_t left, uint64_t right) { return renamed[left] < renamed[right]; });
  adaptation_.axes.permute(order);
  auto const shape = adaptation_.shape;
  for (size_t axis = 0; axis < rank(); ++axis) {
    adaptation_.shape[axis] = shape[order[axis]];
    meanings_[axis] = renamed[order[axis]];
  }
}

void Draft::convert(DataType type, std::optional<LinearMap> map, std::optional<LinearMap> inverse, bool isInvertible) {
  auto const from = adaptation_.type;
  if (from == type && !map)
    return;
  if (from.elementCount() != type.elementCount() || from.interpretation() != type.interpretation())
    throw InvalidArgument(fmt::format("samples of type {} cannot be converted to {}, which has other components",
                                      from.toString(), type.toString()));
  scalarTypeOf(from); // refuses what cannot be converted
  auto const scalar = scalarTypeOf(type);
  adaptation_.values.reserve(adaptation_.values.size() + 1); // and no room for more, which there hardly ever is
  adaptation_.values.emplace_back(scalar, map, inverse, isInvertible);
  adaptation_.type = type;
}

std::shared_ptr<ImageView> Draft::finish(std::string deed) {
  ImageType axes;
  if (knowsAxes_)
    for (auto const & meaning : meanings_)
      axes.add(*meaning);
  info_.setAxesInterpretation(axes);
  auto properties = ImageProperties::fromProperties(frame_.calibration(), info_);
  properties->requireSettableOn(shape(), type());
  return std::make_shared<AdaptedImageView>(
      std::move(adaptation_),
      AdaptedImageView::Description{std::move(properties), image_->metadata(), std::move(deed), {image_}});
}

} // namespace zarnik
