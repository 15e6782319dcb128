#include "zarnik/core/Interruption.h"

#include <utility>

namespace zarnik {

namespace {

thread_local InterruptionScope const * innermost = nullptr;

} // namespace

InterruptionScope::InterruptionScope(std::function<bool()> requested)
    : requested_(std::move(requested)), outer_(innermost) {
  innermost = this;
}

InterruptionScope::~InterruptionScope() { innermost = outer_; }

bool InterruptionScope::isRequested() {
  for (auto const * scope = innermost; scope; scope = scope->outer_)
    if (scope->requested_())
      return true;
  return false;
}

} // namespace zarnik
