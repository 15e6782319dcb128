#pragma once

#include "zarnik/core/FlagSet.h"

namespace zarnik {

/// What several threads may do with one view at the same time.
enum class ParallelAccessCapability {
  /// Every operation of the view may be called from any thread at any time.
  THREAD_SAFE = 1,
  /// Different tiles may be read at the same time.
  PARALLEL_TILE_READ = 2,
  /// Different tiles may be written at the same time.
  PARALLEL_TILE_WRITE = 4,
  /// Any elements and regions may be read at the same time.
  PARALLEL_READ = 8,
  /// Elements and regions that do not overlap may be written at the same time.
  PARALLEL_WRITE = 16
};

ZARNIK_FLAG_OPERATORS(ParallelAccessCapability)

/// The parallel-access capabilities of a view.
using ParallelAccessCapabilitySet = FlagSet<ParallelAccessCapability>;

} // namespace zarnik
