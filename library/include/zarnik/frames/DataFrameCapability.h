#pragma once

#include "zarnik/core/FlagSet.h"

namespace zarnik {

/// What a table can do.
enum class DataFrameCapability {
  /// Cells can be read.
  READ = 1,
  /// Cells can be changed.
  WRITE = 2,
  /// Rows and columns can be added and removed.
  RESHAPE = 4
};

ZARNIK_FLAG_OPERATORS(DataFrameCapability)

/// The capabilities of a table.
using DataFrameCapabilitySet = FlagSet<DataFrameCapability>;

} // namespace zarnik
