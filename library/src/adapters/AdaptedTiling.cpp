#include "adapters/AdaptedTiling.h"

#include "zarnik/views/ImageView.h"

#include <algorithm>
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
    : RectilinearTiling(std::move(view)) {
  auto const & shape = image().shape();
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

AdaptedTiling::Interval AdaptedTiling::interval(size_t dimension, uint64_t place) const {
  auto const & cuts = cuts_[dimension];
  return {cuts[place], cuts[place + 1] - cuts[place]};
}

} // namespace zarnik
