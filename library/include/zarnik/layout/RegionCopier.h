#pragma once

#include "zarnik/core/Export.h"
#include "zarnik/values/DataType.h"
#include "zarnik/values/Indexer.h"
#include "zarnik/values/RegionX.h"
#include "zarnik/values/VectorX.h"

#include <memory>

namespace zarnik {

class CopyPlan;

/// Copies a region of one buffer to a region of another of the same size.
///
/// The element type is moved as it is; see `RegionConverter` for a copy that changes it. Any combination of strides is
/// accepted: gaps, transposed axes, negative strides, and strides of 0 in the source.
class ZARNIK_API RegionCopier {
public:
  /// Prepares the copy; no buffer is touched.
  /// \param source Geometry of the buffer that is read.
  /// \param destination Geometry of the buffer that is written.
  /// \param sourceOrigin Index of the region's first element in the source.
  /// \param destinationOrigin Index of the region's first element in the destination.
  /// \param size Elements along each dimension; any 0 copies nothing.
  /// \param type Type of the elements, of the byte count of the types of both indexers.
  /// \throws InvalidArgument If the ranks or the element sizes differ, or if the region does not lie within both
  /// shapes.
  RegionCopier(Indexer const & source, Indexer const & destination, VectorXu64 const & sourceOrigin,
               VectorXu64 const & destinationOrigin, VectorXu64 const & size, DataType type);

  /// Copies the region. When the two regions share memory, the result is as if the whole source had been read before
  /// the first element was written; unless they are the same elements, or one contiguous run each, this takes a
  /// temporary copy of the region.
  /// \param source The source buffer: the element with index 0 along every dimension.
  /// \param destination The destination buffer, likewise.
  void copy(void const * source, void * destination) const;

private:
  std::shared_ptr<CopyPlan const> plan_;
  uint64_t sourceOffset_;
  uint64_t destinationOffset_;
};

/// Copies a region of an image's buffer into a dense buffer, the first dimension fastest.
/// \param indexer Geometry of the image's buffer.
/// \param image The image's buffer: the element with index 0 along every dimension.
/// \param region The region; an empty one copies nothing.
/// \param dense Receives region.elementCount() * indexer.dtype().byteCount() bytes.
/// \throws InvalidArgument If the region leaves the image.
ZARNIK_API void readDense(Indexer const & indexer, void const * image, RegionXu64 const & region, void * dense);

/// Copies a dense buffer, the first dimension fastest, into a region of an image's buffer: the contrary of readDense.
/// \throws InvalidArgument If the region leaves the image, or has several elements along an axis of stride 0.
ZARNIK_API void writeDense(Indexer const & indexer, void * image, RegionXu64 const & region, void const * dense);

} // namespace zarnik
