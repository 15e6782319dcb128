#pragma once

#include "adapters/AxisMapping.h"
#include "zarnik/views/RectilinearTiling.h"

#include <memory>
#include <vector>

namespace zarnik {

/// The tiles of a regular grid as a view of the image shows them: cropped, turned around, stepped over, in another
/// order. Tiles that the view does not show are left out, so the numbers are the view's own, along its first dimension
/// first.
class AdaptedTiling : public RectilinearTiling {
public:
  /// \param view     whose tiles these are
  /// \param axes     how its indices lead to those of the source
  /// \param tileSize of the source
  AdaptedTiling(std::shared_ptr<ImageView> view, AxisMapping const & axes, VectorXu64 const & tileSize);
  ~AdaptedTiling() override;

  VectorXu64 maxTileSize() const override;

protected:
  VectorXu64 gridShape() const override;
  Interval interval(size_t dimension, uint64_t place) const override;

private:
  std::vector<std::vector<uint64_t>> cuts_; // along each dimension where tiles begin, and the end
};

} // namespace zarnik
