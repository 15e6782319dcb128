#include "zarnik/views/GridTiling.h"

#include "zarnik/core/Error.h"
#include "zarnik/views/ImageView.h"

#include <algorithm>
#include <fmt/format.h>

namespace zarnik {

GridTiling::GridTiling(std::shared_ptr<ImageView> image, VectorXu64 tileSize)
    : RectilinearTiling(std::move(image)), tileSize_(std::move(tileSize)) {
  auto const hasZero = std::find(tileSize_.begin(), tileSize_.end(), uint64_t{0}) != tileSize_.end();
  if (tileSize_.size() != this->image().dimensionCount() || hasZero)
    throw InvalidArgument(fmt::format("tile size {} does not fit an image of shape {}", tileSize_.toString(),
                                      this->image().shape().toString()));
}

GridTiling::~GridTiling() = default;

VectorXu64 GridTiling::gridShape() const {
  auto shape = image().shape();
  for (size_t axis = 0; axis < shape.size(); ++axis)
    shape[axis] = shape[axis] / tileSize_[axis] + (shape[axis] % tileSize_[axis] != 0);
  return shape;
}

VectorXu64 GridTiling::maxTileSize() const {
  auto size = image().shape();
  for (size_t axis = 0; axis < size.size(); ++axis)
    size[axis] = std::min(size[axis], tileSize_[axis]);
  return size;
}

GridTiling::Interval GridTiling::interval(size_t dimension, uint64_t place) const {
  auto const origin = place * tileSize_[dimension];
  return {origin, std::min(tileSize_[dimension], image().shape()[dimension] - origin)};
}

} // namespace zarnik
