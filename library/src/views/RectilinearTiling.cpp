#include "zarnik/views/RectilinearTiling.h"

#include "core/Guarded.h"
#include "zarnik/core/Error.h"
#include "zarnik/values/ArrayX.h"
#include "zarnik/values/Checked.h"
#include "zarnik/views/ImageView.h"

#include <numeric>
#include <utility>

namespace zarnik {

RectilinearTiling::RectilinearTiling(std::shared_ptr<ImageView> image) : image_(std::move(image)) {}
RectilinearTiling::~RectilinearTiling() = default;

size_t RectilinearTiling::tileCount() const {
  size_t count = 1;
  for (auto const tiles : gridShape())
    count = checkedMultiply(count, tiles, "tiles of an image");
  return count;
}

RegionXu64 RectilinearTiling::tileRegion(size_t tileIndex) const {
  if (auto const count = tileCount(); tileIndex >= count)
    throw InvalidArgument(message("tile index {} is not below the tile count {}", tileIndex, count));
  auto const grid = gridShape();
  VectorXu64 origin(grid.size()), size(grid.size());
  for (size_t axis = 0; axis < grid.size(); ++axis) {
    auto const covered = interval(axis, tileIndex % grid[axis]);
    origin[axis] = covered.origin;
    size[axis] = covered.size;
    tileIndex /= grid[axis];
  }
  return {origin, size};
}

ArrayX<uint64_t> RectilinearTiling::tilingGrid() const {
  ArrayXu64 grid(gridShape()); // its first dimension is the fastest, like the numbering
  std::iota(grid.data(), grid.data() + grid.indexer().elementCount(), uint64_t{0});
  return grid;
}

void RectilinearTiling::readTile(size_t tileIndex, void * destination) {
  image_->readRegion(tileRegion(tileIndex), destination);
}

void RectilinearTiling::writeTile(size_t tileIndex, void const * source) {
  image_->writeRegion(tileRegion(tileIndex), source);
}

} // namespace zarnik
