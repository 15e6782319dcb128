#include "layout/RegionChecks.h"

#include "core/Guarded.h"

#include <fmt/format.h>

#include <span>

namespace zarnik::layout {

namespace {

std::string list(VectorXu64 const & values) {
  return fmt::format("({})", fmt::join(std::span(values.data(), values.size()), ", "));
}

} // namespace

void checkElementBytes(char const * side, DataType buffer, DataType moved) {
  if (buffer.byteCount() != moved.byteCount()) {
    throw InvalidArgument(message("{} elements have {} bytes, the type to be copied has {}", side, buffer.byteCount(),
                                  moved.byteCount()));
  }
}

void checkRegion(char const * side, Indexer const & indexer, VectorXu64 const & origin, VectorXu64 const & size) {
  auto const & shape = indexer.shape();
  if (origin.size() != shape.size() || size.size() != shape.size()) {
    throw InvalidArgument(message("a region with origin {} and size {} does not fit the {} dimensions of the {}",
                                  list(origin), list(size), shape.size(), side));
  }
  for (size_t axis = 0; axis < shape.size(); ++axis) {
    if (origin[axis] > shape[axis] || size[axis] > shape[axis] - origin[axis]) {
      throw InvalidArgument(message("region origin {} + size {} exceeds the {} shape {} on axis {}", list(origin),
                                    list(size), side, list(shape), axis));
    }
  }
}

uint64_t originOffset(Indexer const & indexer, VectorXu64 const & origin) {
  auto const & strides = indexer.byteStride();
  uint64_t offset = 0;
  for (size_t axis = 0; axis < origin.size(); ++axis) {
    offset += origin[axis] * strides[axis];
  }
  return offset;
}

} // namespace zarnik::layout
