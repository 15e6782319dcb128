#pragma once

#include "zarnik/views/TilingInfoExtension.h"

namespace zarnik {

class ImageView;

/// A tiling by cuts across each dimension, which go through the whole image: for implementers of image views. Tiles are
/// regions of the image, numbered along its first dimension first.
class ZARNIK_API RectilinearTiling : public TilingInfoExtension {
public:
  ~RectilinearTiling() override;

  size_t tileCount() const override;
  RegionXu64 tileRegion(size_t tileIndex) const override;
  ArrayX<uint64_t> tilingGrid() const override;
  void readTile(size_t tileIndex, void * destination) override;
  void writeTile(size_t tileIndex, void const * source) override;

protected:
  /// The part of a dimension that a tile covers.
  struct Interval {
    uint64_t origin;
    uint64_t size;
  };

  /// \param image the image whose regions are the tiles; it lives as long as the tiling
  explicit RectilinearTiling(std::shared_ptr<ImageView> image);

  ImageView const & image() const { return *image_; }

  /// The number of tiles along each dimension.
  virtual VectorXu64 gridShape() const = 0;
  /// What the tile at a place along a dimension covers of it; it is below the number of tiles there.
  virtual Interval interval(size_t dimension, uint64_t place) const = 0;

private:
  std::shared_ptr<ImageView> image_;
};

} // namespace zarnik
