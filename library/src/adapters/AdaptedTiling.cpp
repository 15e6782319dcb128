#include "adapters/AdaptedTiling.h"

#include "zarnik/core/Error.h"
#include "zarnik/values/ArrayX.h"
#include "zarnik/values/Checked.h"
#include "zarnik/views/ImageView.h"

#include <algorithm>
#include <fmt/format.h>
#include <numeric>
#include <utility>

namespace zarnik {
namespace {

/// Where along an axis of the view another tile of the source begins, and its end.
std::vector<uint64_t> cutsAlong(MappedAxis const & axis, uint64_t extent, uint64_t tile) {
  std::vector<uint64_t> cuts{0};
  auto const step = axis.step < 0 ? 0 - static_cast<uint64_t>(axis.step) : static_cast<uint64_t>(axis.step);
  for (uint64_t index = 0; axis.source != MappedAxis::NONE && index < extent;) { // along no axis there is one index
    auto const within = (axis.origin + index * static_cast<uint64_t>(axis.step)) % tile;
    auto const left = axis.step < 0 ? within : tile - 1 - within; // to the last index in the tile
    index += left / step + 1;
    if (index < extent)
      cuts.push_back(index);
  }
  if (extent > 0)
    cuts.push_back(extent);
  return cuts;
}

} // namespace

AdaptedTiling::AdaptedTiling(std::shared_ptr<ImageView> view, AxisMapping const & axes, VectorXu64 const & tileSize)
    : view_(std::move(view)) {
  auto const & shape = view_->shape();
  for (size_t axis = 0; axis < shape.size(); ++axis) {
    auto const & mapped = axes.axis(axis);
    // The components are an axis after the dimensions, and always whole.
    bool const isComponents = mapped.source >= tileSize.size();
    cuts_.push_back(cutsAlong(mapped, shape[axis], isComponents ? ~uint64_t{0} : tileSize[mapped.source]));
  }
}

AdaptedTiling::~AdaptedTiling() = default;

VectorXu64 AdaptedTiling::gridShape() const {
  VectorXu64 shape(cuts_.size());
  for (size_t axis = 0; axis < cuts_.size(); ++axis)
    shape[axis] = cuts_[axis].size() - 1;
  return shape;
}

VectorXu64 AdaptedTiling::maxTileSize() const {
  VectorXu64 size(cuts_.size());
  for (size_t axis = 0; axis < cuts_.size(); ++axis)
    for (size_t tile = 1; tile < cuts_[axis].size(); ++tile)
      size[axis] = std::max(size[axis], cuts_[axis][tile] - cuts_[axis][tile - 1]);
  return size;
}

size_t AdaptedTiling::tileCount() const {
  size_t count = 1;
  for (auto const tiles : gridShape())
    count = checkedMultiply(count, tiles, "tiles of an image");
  return count;
}

RegionXu64 AdaptedTiling::tileRegion(size_t tileIndex) const {
  if (auto const count = tileCount(); tileIndex >= count)
    throw InvalidArgument(fmt::format("tile index {} is not below the tile count {}", tileIndex, count));
  VectorXu64 origin(cuts_.size()), size(cuts_.size());
  for (size_t axis = 0; axis < cuts_.size(); ++axis) {
    auto const & cuts = cuts_[axis];
    auto const tile = tileIndex % (cuts.size() - 1);
    origin[axis] = cuts[tile];
    size[axis] = cuts[tile + 1] - cuts[tile];
    tileIndex /= cuts.size() - 1;
  }
  return {origin, size};
}

ArrayX<uint64_t> AdaptedTiling::tilingGrid() const {
  ArrayXu64 grid(gridShape()); // its first dimension is the fastest, like the numbering
  std::iota(grid.data(), grid.data() + grid.indexer().elementCount(), uint64_t{0});
  return grid;
}

void AdaptedTiling::readTile(size_t tileIndex, void * destination) {
  view_->readRegion(tileRegion(tileIndex), destination);
}

void AdaptedTiling::writeTile(size_t tileIndex, void const * source) {
  view_->writeRegion(tileRegion(tileIndex), source);
}

} // namespace zarnik
