#pragma once

#include "zarnik/core/FlagSet.h"

namespace zarnik {

/// What bytes addressed by their offset can do.
enum class RandomAccessCapability {
  /// Bytes can be read.
  READ = 1,
  /// Bytes can be written.
  WRITE = 2,
  /// The number of bytes can be changed.
  RESIZE = 4,
  /// The bytes lie in memory that the caller may use in place.
  MEMORY_ACCESS = 8,
  /// READ and WRITE.
  READ_WRITE = 3,
  /// WRITE and RESIZE.
  WRITE_RESIZE = 6
};

ZARNIK_FLAG_OPERATORS(RandomAccessCapability)

/// The capabilities of bytes addressed by their offset.
using RandomAccessCapabilitySet = FlagSet<RandomAccessCapability>;

} // namespace zarnik
