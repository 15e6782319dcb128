#pragma once

#include "core/Guarded.h"
#include "zarnik/values/Checked.h"

#include <algorithm>
#include <fmt/format.h>
#include <limits>

// The operations of all regions, fixed or run-time sized. A box is anything with origin() and size().
namespace zarnik::box {

// The origin + size - 1 of a valid box fits its type, so the comparisons below never form origin + size.
template <typename V> void requireFits(V const & origin, V const & size) {
  using T = typename V::ValueType;
  for (size_t axis = 0; axis != origin.size(); ++axis) {
    if (size[axis] != 0 && size[axis] - 1 > std::numeric_limits<T>::max() - origin[axis])
      throw InvalidArgument(message("region origin {} + size {} on axis {} exceeds the largest coordinate {}",
                                    origin[axis], size[axis], axis, std::numeric_limits<T>::max()));
  }
}

template <typename V> bool isEmpty(V const & size) {
  return std::any_of(size.begin(), size.end(), [](auto extent) { return extent == 0; });
}

template <typename V> uint64_t elementCount(V const & size) {
  if (isEmpty(size))
    return 0;
  uint64_t count = 1;
  for (auto const extent : size)
    count = checkedMultiply(count, extent, "elements of the region");
  return count;
}

template <typename R> typename R::VectorType max(R const & region) {
  auto point = region.origin();
  if (!region.isEmpty())
    for (size_t axis = 0; axis != point.size(); ++axis)
      point[axis] += region.size()[axis] - 1;
  return point;
}

template <typename R> bool contains(R const & region, R const & other) {
  for (size_t axis = 0; axis != region.origin().size(); ++axis) {
    if (other.origin()[axis] < region.origin()[axis])
      return false;
    auto const start = other.origin()[axis] - region.origin()[axis];
    if (start > region.size()[axis] || other.size()[axis] > region.size()[axis] - start)
      return false;
  }
  return true;
}

template <typename R> bool containsPoint(R const & region, typename R::VectorType const & point) {
  for (size_t axis = 0; axis != region.origin().size(); ++axis)
    if (point[axis] < region.origin()[axis] || point[axis] - region.origin()[axis] >= region.size()[axis])
      return false;
  return true;
}

template <typename R> R intersection(R const & left, R const & right) {
  auto origin = left.origin();
  auto size = left.size();
  bool common = !left.isEmpty() && !right.isEmpty();
  for (size_t axis = 0; axis != origin.size(); ++axis) {
    auto const last =
        std::min(left.origin()[axis] + (left.size()[axis] - 1), right.origin()[axis] + (right.size()[axis] - 1));
    origin[axis] = std::max(left.origin()[axis], right.origin()[axis]);
    common = common && origin[axis] <= last;
    size[axis] = last - origin[axis] + 1;
  }
  if (!common)
    std::fill(size.begin(), size.end(), typename R::VectorType::ValueType{0});
  return R(origin, size);
}

template <typename R> R extractSlice(R const & region, size_t dimension, typename R::VectorType::ValueType position) {
  if (dimension >= region.dimensionCount())
    detail::throwIndexBeyond("region dimension", dimension, region.dimensionCount());
  if (position >= region.size()[dimension])
    throw InvalidArgument(message("slice origin {} is out of range, the region has size {} on axis {}", position,
                                  region.size()[dimension], dimension));
  auto origin = region.origin();
  auto size = region.size();
  origin[dimension] += position;
  size[dimension] = 1;
  return R(origin, size);
}

template <typename R> bool areIdentical(R const & left, R const & right) {
  return left.origin() == right.origin() && (left.size() == right.size() || (left.isEmpty() && right.isEmpty()));
}

template <typename R> std::string toString(R const & region) {
  return guarded(
      [&] { return fmt::format("(origin {}, size {})", region.origin().toString(), region.size().toString()); });
}

} // namespace zarnik::box
