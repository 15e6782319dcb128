#pragma once

#include "zarnik/views/RectilinearTiling.h"

namespace zarnik {

/// The tiling of an image into equal tiles, those at the far borders being cut off: for implementers of image views.
///
/// Tiles are numbered along the first dimension first. An image of shape (10, 4) and tiles of (4, 4) has the tiles
/// 0 and 1 of size (4, 4) and 2 of size (2, 4).
class ZARNIK_API GridTiling : public RectilinearTiling {
public:
  /// \param image    the image whose regions are the tiles; it lives as long as the tiling
  /// \param tileSize elements along each dimension, none of them 0
  /// \throws InvalidArgument when the tile size does not fit the image
  GridTiling(std::shared_ptr<ImageView> image, VectorXu64 tileSize);
  ~GridTiling() override;

  VectorXu64 maxTileSize() const override;

protected:
  VectorXu64 gridShape() const override;
  Interval interval(size_t dimension, uint64_t place) const override;

private:
  VectorXu64 tileSize_;
};

} // namespace zarnik
