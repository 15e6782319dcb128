#include "adapters/Draft.h"
#include "adapters/RelabelledImageView.h"
#include "adapters/ThreadSafeImageView.h"
#include "core/Guarded.h"
#include "views/ImageViewProperties.h"
#include "zarnik/core/Error.h"
#include "zarnik/metadata/ImageProperties.h"
#include "zarnik/metadata/MetadataNode.h"
#include "zarnik/views/ImageViewFactory.h"
#include "zarnik/views/LinearValues.h"
#include "zarnik/views/ParallelAccessExtension.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <limits>
#include <utility>

namespace zarnik {
namespace {

bool isInteger(DataType type) { return type.primitiveType() != PrimitiveTypeId::FLOATING_POINT; }

LinearMap mapOf(Vector2d const & from, Vector2d const & to) {
  auto const scale = (to[1] - to[0]) / (from[1] - from[0]);
  return {scale, to[0] - from[0] * scale};
}

bool isFinite(LinearMap const & map) { return std::isfinite(map.scale) && std::isfinite(map.offset); }

void requireFinite(char const * what, Vector2d const & range) {
  if (!std::isfinite(range[0]) || !std::isfinite(range[1]))
    throw InvalidArgument(fmt::format("{} range {} is not finite", what, range.toString()));
}

} // namespace

std::shared_ptr<ImageView> ImageViewFactory::adaptDataType(std::shared_ptr<ImageView> image, DataType dataType) {
  return guarded([&]() -> std::shared_ptr<ImageView> {
    Draft draft(std::move(image));
    draft.restrictTo(ImageCapability::READ | ImageCapability::WRITE);
    draft.convert(dataType, std::nullopt, std::nullopt, true);
    auto & info = draft.info();
    info.setBitDepth(isInteger(dataType) ? std::min(info.bitDepth(), dataType.bitDepth()) : dataType.bitDepth());
    if (isInteger(dataType)) {
      auto const limits = DataType::standardRange(dataType);
      auto const & range = info.valueRange();
      info.setValueRange({std::clamp(range[0], limits[0], limits[1]), std::clamp(range[1], limits[0], limits[1])});
    }
    return draft.finish(fmt::format("converted to {}", dataType.toString()));
  });
}

std::shared_ptr<ImageView> ImageViewFactory::adaptDynamicRange(std::shared_ptr<ImageView> image, DataType dataType,
                                                               Vector2d const & inputRange,
                                                               Vector2d const & outputRange) {
  return guarded([&]() -> std::shared_ptr<ImageView> {
    Draft draft(std::move(image));
    requireFinite("input", inputRange);
    requireFinite("output", outputRange);
    if (inputRange[0] == inputRange[1])
      throw InvalidArgument(fmt::format("input range {} has no width", inputRange.toString()));
    auto const map = mapOf(inputRange, outputRange);
    auto const inverse = mapOf(outputRange, inputRange);
    if (!isFinite(map))
      throw InvalidArgument(fmt::format("the map of input range {} to output range {} is not finite",
                                        inputRange.toString(), outputRange.toString()));
    draft.restrictTo(ImageCapability::READ | ImageCapability::WRITE);
    draft.convert(dataType, map, inverse, isFinite(inverse));
    auto & info = draft.info();
    info.setBitDepth(dataType.bitDepth());
    info.setValueRange({std::min(outputRange[0], outputRange[1]), std::max(outputRange[0], outputRange[1])});
    return draft.finish(
        fmt::format("{} mapped to {} as {}", inputRange.toString(), outputRange.toString(), dataType.toString()));
  });
}

std::shared_ptr<ImageView> mapLinearly(std::shared_ptr<ImageView> image, DataType dataType, LinearMap const & map) {
  Draft draft(std::move(image));
  if (!isFinite(map))
    throw InvalidArgument(fmt::format("the map value * {} + {} is not finite", map.scale, map.offset));
  LinearMap const inverse{1 / map.scale, -map.offset / map.scale};
  draft.restrictTo(ImageCapability::READ | ImageCapability::WRITE);
  draft.convert(dataType, map, inverse, isFinite(inverse));
  auto & info = draft.info();
  info.setBitDepth(dataType.bitDepth());
  auto const limits = isInteger(dataType)
                          ? DataType::standardRange(dataType)
                          : Vector2d{-std::numeric_limits<double>::max(), std::numeric_limits<double>::max()};
  auto const mapped = [&](double value) { return std::clamp(value * map.scale + map.offset, limits[0], limits[1]); };
  auto const & range = info.valueRange();
  auto const ends = std::make_pair(mapped(range[0]), mapped(range[1]));
  info.setValueRange({std::min(ends.first, ends.second), std::max(ends.first, ends.second)});
  return draft.finish(fmt::format("value * {} + {} as {}", map.scale, map.offset, dataType.toString()));
}

std::shared_ptr<ImageView> ImageViewFactory::fromImageView(std::shared_ptr<ImageView> image,
                                                           std::shared_ptr<ImageProperties const> properties,
                                                           std::shared_ptr<MetadataNode const> metadata) {
  return guarded([&]() -> std::shared_ptr<ImageView> {
    if (!image)
      throw InvalidArgument("the image to adapt cannot be null");
    auto own =
        properties ? fittingProperties(properties, image->shape(), image->dataType()) : validProperties(image)->clone();
    return std::make_shared<RelabelledImageView>(
        image, RelabelledImageView::Description{
                   std::move(own), metadata ? metadata->clone() : nullptr, "with other properties", {image}});
  });
}

std::shared_ptr<ImageView> ImageViewFactory::makeThreadSafe(std::shared_ptr<ImageView> image) {
  return guarded([&]() -> std::shared_ptr<ImageView> {
    if (!image)
      throw InvalidArgument("the image to adapt cannot be null");
    auto const parallel = image->parallelAccess();
    if (parallel && parallel->support(ParallelAccessCapability::THREAD_SAFE))
      return image;
    return std::make_shared<ThreadSafeImageView>(std::move(image));
  });
}

} // namespace zarnik
