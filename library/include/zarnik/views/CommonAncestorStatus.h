#pragma once

namespace zarnik {

/// Whether two views derive from one view.
enum class CommonAncestorStatus {
  /// No view is behind both of them.
  SHARE_NO_ANCESTOR = 0,
  /// A view is behind both of them, so that writing into one may change the other.
  SHARE_ANCESTOR = 1,
  /// A view among the ancestors does not tell its parents.
  UNDETERMINED = 2
};

} // namespace zarnik
