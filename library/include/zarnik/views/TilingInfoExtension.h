#pragma once

#include "zarnik/values/RegionX.h"
#include "zarnik/values/VectorX.h"
#include "zarnik/views/Extension.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace zarnik {

#ifndef SWIG
template <typename T> class ArrayX;
#endif

/// How the data of an image is cut into tiles, the blocks that are fastest to read and write as a whole.
class ZARNIK_API TilingInfoExtension : public Extension {
public:
  /// Identifier of this extension.
  static constexpr size_t EXTENSION_ID = 1;

  /// The index of no tile, in a tiling grid where the image has no data.
  static constexpr uint64_t INVALID_TILE_INDEX = 0xFFFFFFFFFFFFFFFF;

  /// Upcast a generic extension to this specific type.
  /// \param extension The extension, may be null.
  /// \return The same object. This will be null if no upcasting is possible.
  static std::shared_ptr<TilingInfoExtension> cast(std::shared_ptr<Extension> extension);

  /// Destroy the extension.
  ~TilingInfoExtension() override;

  /// Return the maximum tile size used for the image.
  ///
  /// Tiles at the border of the image may be smaller.
  /// \return Elements along each dimension of the image.
  virtual VectorX<uint64_t> maxTileSize() const = 0;

  /// Get the number of tiles in the image.
  /// \return The number of tiles, whose indices begin at 0.
  virtual size_t tileCount() const = 0;

  /// Return the region of the chosen tile.
  /// \param tileIndex Index of the tile, below the tile count.
  /// \return The region of the image that the tile covers.
  /// \throws Error if the index is out of range.
  virtual RegionX<uint64_t> tileRegion(size_t tileIndex) const = 0;

  /// Return A N-dimensional array, with each element being a tile index.
  ///
  /// The array has the dimensions of the image, in their order: neighbours in the array are neighbours in the image.
  /// Places without a tile hold INVALID_TILE_INDEX.
  /// \return A new array of as many tiles along each dimension as cover the image.
  virtual ArrayX<uint64_t> tilingGrid() const = 0;

#ifndef SWIG
  /// Read data from a tile into a memory buffer.
  /// \param tileIndex Index of the tile, below the tile count.
  /// \param destination Receives the samples of the tile, the first dimension fastest. Its size is the element count
  ///                    of tileRegion(tileIndex) times the byte count of the image's data type.
  /// \throws Error if the index is out of range.
  /// \throws NotImplemented if the image cannot be read.
  virtual void readTile(size_t tileIndex, void * destination) = 0;

  /// Write data from a memory buffer into a tile.
  /// \param tileIndex Index of the tile, below the tile count.
  /// \param source The samples of the tile, the first dimension fastest. Its size is the element count
  ///               of tileRegion(tileIndex) times the byte count of the image's data type.
  /// \throws Error if the index is out of range.
  /// \throws NotImplemented if the image cannot be written.
  virtual void writeTile(size_t tileIndex, void const * source) = 0;
#endif
};

} // namespace zarnik
