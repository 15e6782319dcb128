#include "core/ProgressReport.h"

#include "zarnik/core/Error.h"

#include <fmt/format.h>

namespace zarnik {

ProgressReport::ProgressReport(char const * what, uint64_t total, Progress const & progress)
    : what_(what), total_(total), progress_(progress) {}

void ProgressReport::advance(uint64_t amount) {
  done_ += amount;
  if (progress_ && !progress_(done_, total_))
    throw Error(fmt::format("{} was cancelled after {} of {}", what_, done_, total_));
}

} // namespace zarnik
