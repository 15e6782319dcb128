#pragma once

#include "zarnik/values/VectorX.h"

#include <algorithm>
#include <cstddef>
#include <memory>

namespace zarnik {

/// \throws Error if what this thread does is to end early, see InterruptionScope
void requireUninterrupted();

/// Calls visit(first, size) for blocks that cover the box of that shape once, the first dimension fastest.
/// Whoever waits for the thread may end this between two blocks.
/// \param extents the size of a block along each dimension, at least 1
/// \param begin   subtracted from the first cut along each dimension, so that cuts fall on multiples of something
template <typename Visit>
void forEachBlock(VectorXu64 const & shape, VectorXu64 const & extents, VectorXu64 const & begin, Visit const & visit) {
  auto const rank = shape.size();
  if (std::find(shape.begin(), shape.end(), uint64_t{0}) != shape.end())
    return;
  VectorXu64 first(rank), size(rank);
  auto const cut = [&](size_t axis) {
    auto const room = first[axis] == 0 ? extents[axis] - begin[axis] : extents[axis];
    size[axis] = std::min(room, shape[axis] - first[axis]);
  };
  for (size_t axis = 0; axis < rank; ++axis)
    cut(axis);
  while (true) {
    requireUninterrupted();
    visit(first, size);
    size_t axis = 0;
    for (; axis < rank; ++axis) {
      first[axis] += size[axis];
      if (first[axis] < shape[axis]) {
        cut(axis);
        break;
      }
      first[axis] = 0;
      cut(axis);
    }
    if (axis == rank)
      return;
  }
}

/// Memory for a block, not initialised.
/// \throws Error if it cannot be had
std::unique_ptr<std::byte[]> allocateBlock(uint64_t bytes);

/// Memory for one block after the other, which grows to the largest.
class Scratch {
public:
  /// \throws Error if it cannot be had
  std::byte * atLeast(uint64_t bytes);

private:
  std::unique_ptr<std::byte[]> memory_;
  uint64_t bytes_ = 0;
};

} // namespace zarnik
