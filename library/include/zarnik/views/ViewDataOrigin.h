#pragma once

namespace zarnik {

/// Where the data of a view comes from.
enum class ViewDataOrigin {
  /// Not known.
  UNKNOWN = 0,
  /// Main memory.
  CPU_MEMORY = 1,
  /// A file or another local storage.
  DRIVE = 2,
  /// Memory of a graphics processor.
  GPU_MEMORY = 3,
  /// A remote server.
  NETWORK = 4,
  /// Computed when it is asked for.
  GENERATED = 5,
  /// Several views whose data comes from different places.
  COMPOSITE = 6
};

} // namespace zarnik
