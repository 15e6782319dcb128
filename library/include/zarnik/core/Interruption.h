#pragma once

#include "zarnik/core/Export.h"

#include <functional>

namespace zarnik {

/// While it lives, long operations that this thread makes end early when a condition comes true: whoever waits for them
/// has lost patience. They ask at least ten times a second and end with an Error, as they do for any other failure.
/// Scopes may be nested: any of them ends what is inside of it.
class ZARNIK_API InterruptionScope {
public:
  /// \param requested asked on this thread; must not throw
  explicit InterruptionScope(std::function<bool()> requested);
  ~InterruptionScope();
  InterruptionScope(InterruptionScope const &) = delete;
  InterruptionScope & operator=(InterruptionScope const &) = delete;

  /// Whether what this thread does is to end.
  static bool isRequested();

private:
  std::function<bool()> requested_;
  InterruptionScope const * outer_;
};

} // namespace zarnik
