#pragma once

namespace zarnik {

/// What the offset of a seek counts from.
enum class SeekOrigin {
  /// The first byte.
  BEGIN = 1,
  /// The current position.
  CURRENT = 2,
  /// One past the last byte.
  END = 3
};

} // namespace zarnik
