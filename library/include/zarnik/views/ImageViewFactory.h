#pragma once

#include "zarnik/values/DataType.h"
#include "zarnik/values/VectorX.h"

#include <memory>

namespace zarnik {

#ifndef SWIG
class ImageProperties;
class ImageView;
class MetadataNode;
#endif

/// Makes image views.
class ZARNIK_API ImageViewFactory {
public:
  /// Create an image in memory, all samples 0.
  ///
  /// Capabilities are READ, WRITE, RESHAPE and MEMORY_ACCESS. Memory that was handed out stays valid
  /// as long as the image lives, also after it was reshaped.
  /// \param shape The size along each dimension, the dimensions in canonical order.
  /// \param dataType The type of the samples, a numeric one.
  /// \param properties The properties, of which the image keeps a copy; null for the default ones.
  /// \param metadata The root node of the metadata, of which the image keeps a copy; may be null.
  /// \return The new image.
  /// \throws InvalidArgument if the properties do not fit shape and type, or the type is not numeric.
  /// \throws Error if there is not enough memory.
  static std::shared_ptr<ImageView> allocate(VectorXu64 const & shape, DataType dataType,
                                             std::shared_ptr<ImageProperties> properties,
                                             std::shared_ptr<MetadataNode> metadata);

  /// Create an image in memory with default properties and no metadata, all samples 0.
  ///
  /// The dimensions are taken as COLUMN, ROW, SLICE, SEQUENCE for up to 4, as all five for 5, and as
  /// unknown for more.
  /// \param shape The size along each dimension, the dimensions in canonical order.
  /// \param dataType The type of the samples, a numeric one.
  /// \return The new image.
  /// \throws InvalidArgument if the type is not numeric.
  /// \throws Error if there is not enough memory.
  static std::shared_ptr<ImageView> allocate(VectorXu64 const & shape, DataType dataType);
};

} // namespace zarnik
