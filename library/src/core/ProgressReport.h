#pragma once

#include "zarnik/core/Progress.h"

namespace zarnik {

/// Counts what is done of an operation and tells it to whoever wants to know.
class ProgressReport {
public:
  /// \param what the operation, for the message of a cancellation; it outlives the report
  /// \param progress may be empty
  ProgressReport(char const * what, uint64_t total, Progress const & progress);

  /// \throws Error when the operation is to be cancelled
  void advance(uint64_t amount);

private:
  char const * what_;
  uint64_t total_;
  uint64_t done_ = 0;
  Progress const & progress_;
};

} // namespace zarnik
