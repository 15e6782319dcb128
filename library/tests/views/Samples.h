#pragma once

#include "core/Support.h"
#include "zarnik/values/Indexer.h"
#include "zarnik/values/RegionX.h"
#include "zarnik/views/ImageView.h"

#include <functional>
#include <memory>
#include <numeric>
#include <vector>

namespace zarnik::test {

using Image = std::shared_ptr<ImageView>;

inline uint64_t elementCount(VectorXu64 const & shape) {
  return std::accumulate(shape.begin(), shape.end(), uint64_t{1}, std::multiplies<>());
}

/// The index of a position in the dense order, the first dimension fastest.
inline VectorXu64 indexOf(uint64_t position, VectorXu64 const & shape) {
  VectorXu64 index(shape.size());
  for (size_t axis = 0; axis < index.size(); position /= shape[axis], ++axis)
    index[axis] = position % shape[axis];
  return index;
}

inline uint64_t positionOf(VectorXu64 const & index, VectorXu64 const & shape) {
  uint64_t position = 0;
  for (size_t axis = index.size(); axis-- > 0;)
    position = position * shape[axis] + index[axis];
  return position;
}

inline RegionXu64 whole(ImageView const & image) { return RegionXu64::createFullRegion(image.shape()); }

/// All components of all samples, dense, the first dimension fastest.
template <typename T = uint8_t> std::vector<T> valuesOf(ImageView & image) {
  std::vector<T> values(Indexer(image.shape(), image.dataType()).byteCount() / sizeof(T));
  image.readRegion(whole(image), values.data());
  return values;
}

/// Any part of an image, which may be empty.
RegionXu64 randomRegion(VectorXu64 const & shape, auto & random) {
  VectorXu64 origin(shape.size()), size(shape.size());
  for (size_t axis = 0; axis < shape.size(); ++axis) {
    origin[axis] = random() % (shape[axis] + 1);
    size[axis] = random() % 3 ? random() % (shape[axis] - origin[axis] + 1) : shape[axis] - origin[axis];
  }
  return {origin, size};
}

/// Calls visit(index, position in the dense order) for every element of a region.
template <typename Visit> void forEach(RegionXu64 const & region, Visit visit) {
  auto const count = elementCount(region.size());
  for (uint64_t position = 0; position < count; ++position)
    visit(region.origin() + indexOf(position, region.size()), position);
}

} // namespace zarnik::test
