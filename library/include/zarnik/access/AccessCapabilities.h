#pragma once

namespace zarnik {

/// What an access is opened for.
enum class AccessCapabilities {
  /// Reading only.
  READ_ONLY = 1,
  /// Writing only.
  WRITE_ONLY = 2,
  /// Reading and writing.
  READ_WRITE = 3
};

} // namespace zarnik
