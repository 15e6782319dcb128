#include "zarnik/views/GridTiling.h"

#include "zarnik/core/Error.h"
#include "zarnik/values/ArrayX.h"
#include "zarnik/values/Checked.h"
#include "zarnik/views/ImageView.h"

#include <algorithm>
#include <fmt/format.h>
#include <numeric>

namespace zarnik {

GridTiling::GridTiling(std::shared_ptr<ImageView> image, VectorXu64 tileSize)
    : image_(std::move(image)), tileSize_(std::move(tileSize)) {
  auto const hasZero = std::find(tileSize_.begin(), tileSize_.end(), uint64_t{0}) != tileSize_.end();
  if (tileSize_.size() != image_->dimensionCount() || hasZero)
    throw InvalidArgument(fmt::format("tile size {} does not fit an image of shape {}", tileSize_.toString(),
                                      image_->shape().toString()));
}

GridTiling::~GridTiling() = default;

VectorXu64 GridTiling::gridShape() const {
  auto shape = image_->shape();
  for (size_t axis = 0; axis < shape.size(); ++axis)
    shape[axis] = shape[axis] / tileSize_[axis] + (shape[axis] % tileSize_[axis] != 0);
  return shape;
}

VectorXu64 GridTiling::maxTileSize() const {
  auto size = image_->shape();
  for (size_t axis = 0; axis < size.size(); ++axis)
    size[axis] = std::min(size[axis], tileSize_[axis]);
  return size;
}

size_t GridTiling::tileCount() const {
  size_t count = 1;
  for (auto const tiles : gridShape())
    count = checkedMultiply(count, tiles, "tiles of an image");
  return count;
}

RegionXu64 GridTiling::tileRegion(size_t tileIndex) const {
  if (auto const count = tileCount(); tileIndex >= count)
    throw InvalidArgument(fmt::format("tile index {} is not below the tile count {}", tileIndex, count));
  auto const & shape = image_->shape();
  auto const grid = gridShape();
  VectorXu64 origin(shape.size());
  VectorXu64 size(shape.size());
  for (size_t axis = 0; axis < shape.size(); ++axis) {
    origin[axis] = tileIndex % grid[axis] * tileSize_[axis];
    size[axis] = std::min(tileSize_[axis], shape[axis] - origin[axis]);
    tileIndex /= grid[axis];
  }
  return RegionXu64(origin, size);
}

ArrayX<uint64_t> GridTiling::tilingGrid() const {
  ArrayXu64 grid(gridShape()); // its first dimension is the fastest, like the numbering
  std::iota(grid.data(), grid.data() + grid.indexer().elementCount(), uint64_t{0});
  return grid;
}

void GridTiling::readTile(size_t tileIndex, void * destination) {
  image_->readRegion(tileRegion(tileIndex), destination);
}

void GridTiling::writeTile(size_t tileIndex, void const * source) {
  image_->writeRegion(tileRegion(tileIndex), source);
}

} // namespace zarnik
