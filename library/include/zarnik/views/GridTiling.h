#pragma once

#include "zarnik/views/TilingInfoExtension.h"

namespace zarnik {

class ImageView;

/// The tiling of an image into equal tiles, those at the far borders being cut off: for implementers of image views.
///
/// Tiles are numbered along the first dimension first. An image of shape (10, 4) and tiles of (4, 4) has the tiles
/// 0 and 1 of size (4, 4) and 2 of size (2, 4).
class ZARNIK_API GridTiling : public TilingInfoExtension {
public:
  /// \param image    the image whose regions are the tiles; it lives as long as the tiling
  /// \param tileSize elements along each dimension, none of them 0
  /// \throws InvalidArgument when the tile size does not fit the image
  GridTiling(std::shared_ptr<ImageView> image, VectorXu64 tileSize);
  ~GridTiling() override;

  VectorXu64 maxTileSize() const override;
  size_t tileCount() const override;
  RegionXu64 tileRegion(size_t tileIndex) const override;
  ArrayX<uint64_t> tilingGrid() const override;
  void readTile(size_t tileIndex, void * destination) override;
  void writeTile(size_t tileIndex, void const * source) override;

private:
  VectorXu64 gridShape() const;

  std::shared_ptr<ImageView> image_;
  VectorXu64 tileSize_;
};

} // namespace zarnik
