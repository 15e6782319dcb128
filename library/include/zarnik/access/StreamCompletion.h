#pragma once

#include "zarnik/core/Export.h"

namespace zarnik {

/// What a stream offers beside `StreamAccess` when the end of its writing is an event of its own, which somebody has to
/// be told of and may answer, as a web server does. To be found by `dynamic_cast`.
///
/// The release of such a stream completes it too, but can only log what went wrong.
class ZARNIK_API StreamCompletion {
public:
  virtual ~StreamCompletion();

  /// Writes what is left, tells the other side that this was all, and waits for its answer. Nothing can be written
  /// afterwards. A further call does nothing.
  /// \throws Error if the other side did not take it, also when that was known before
  virtual void close() = 0;

  /// Breaks off, so that the other side does not take what it has got for the whole. Nothing can be written afterwards.
  virtual void abort() noexcept = 0;

protected:
  StreamCompletion() = default;
  StreamCompletion(StreamCompletion const &) = default;
  StreamCompletion & operator=(StreamCompletion const &) = default;
};

} // namespace zarnik
