#pragma once

#include "adapters/AxisMapping.h"
#include "zarnik/views/TilingInfoExtension.h"

#include <memory>
#include <vector>

namespace zarnik {

class ImageView;

/// The tiles of a regular grid as a view of the image shows them: cropped, turned around, stepped over, in another
/// order. Tiles that the view does not show are left out, so the numbers are the view's own, along its first dimension
/// first.
class AdaptedTiling : public TilingInfoExtension {
public:
  /// \param view     whose tiles these are
  /// \param axes     how its indices lead to those of the source
  /// \param tileSize of the source
  AdaptedTiling(std::shared_ptr<ImageView> view, AxisMapping const & axes, VectorXu64 const & tileSize);
  ~AdaptedTiling() override;

  VectorXu64 maxTileSize() const override;
  size_t tileCount() const override;
  RegionXu64 tileRegion(size_t tileIndex) const override;
  ArrayX<uint64_t> tilingGrid() const override;
  void readTile(size_t tileIndex, void * destination) override;
  void writeTile(size_t tileIndex, void const * source) override;

private:
  VectorXu64 gridShape() const;

  std::shared_ptr<ImageView> view_;
  std::vector<std::vector<uint64_t>> cuts_; // along each dimension where tiles begin, and the end
};

} // namespace zarnik
