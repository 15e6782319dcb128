#pragma once

#include "zarnik/core/FlagSet.h"

namespace zarnik {

/// What a set of images can do.
enum class MultiImageCapability {
  /// Frames can be read.
  READ = 1,
  /// Frames can be added, replaced and removed, metadata can be changed.
  WRITE = 2,
  /// READ and WRITE.
  READ_WRITE = 3
};

ZARNIK_FLAG_OPERATORS(MultiImageCapability)

/// The capabilities of a set of images.
using MultiImageCapabilitySet = FlagSet<MultiImageCapability>;

} // namespace zarnik
