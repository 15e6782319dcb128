#pragma once

#include "zarnik/core/FlagSet.h"

namespace zarnik {

/// What a stream of bytes can do.
enum class StreamAccessCapability {
  /// Bytes can be read.
  READ = 1,
  /// Bytes can be written.
  WRITE = 2,
  /// The position can be changed.
  SEEK = 4,
  /// The bytes lie in memory that the caller may use in place.
  MEMORY_ACCESS = 8,
  /// READ and WRITE.
  READ_WRITE = 3,
  /// READ and SEEK.
  READ_SEEK = 5,
  /// WRITE and SEEK.
  WRITE_SEEK = 6
};

ZARNIK_FLAG_OPERATORS(StreamAccessCapability)

/// The capabilities of a stream of bytes.
using StreamAccessCapabilitySet = FlagSet<StreamAccessCapability>;

} // namespace zarnik
