#pragma once

#include "zarnik/core/FlagSet.h"

namespace zarnik {

/// What an image can do.
enum class ImageCapability {
  /// Samples can be read.
  READ = 1,
  /// Samples, properties and metadata can be changed.
  WRITE = 2,
  /// Shape and data type can be changed.
  RESHAPE = 4,
  /// The samples lie in memory that the caller may read and change in place.
  MEMORY_ACCESS = 8,
  /// READ and WRITE.
  READ_WRITE = 3
};

ZARNIK_FLAG_OPERATORS(ImageCapability)

/// The capabilities of an image.
using ImageCapabilitySet = FlagSet<ImageCapability>;

} // namespace zarnik
