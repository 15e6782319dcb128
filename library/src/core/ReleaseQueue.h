#pragma once

#include <exception>
#include <memory>
#include <utility>
#include <vector>

namespace zarnik {

/// Gives up a share of an object, in a destructor: what that object itself gives up in this way waits until it is
/// gone, so that the stack does not grow with the length of a chain of objects that hold each other.
inline void release(std::shared_ptr<void const> shared) noexcept {
  using Pending = std::vector<std::shared_ptr<void const>>;
  thread_local Pending * running = nullptr;
  if (shared == nullptr) {
    return;
  }
  if (running != nullptr) {
    try {
      running->push_back(std::move(shared));
    } catch (std::exception const &) {
      // Without memory for the queue it goes at once, on the stack.
    }
    return;
  }
  Pending pending;
  running = &pending;
  shared.reset();
  while (!pending.empty()) {
    auto const next = std::move(pending.back());
    pending.pop_back();
  }
  running = nullptr;
}

} // namespace zarnik
