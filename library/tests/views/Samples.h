#pragma once

#include "core/Support.h"
#include "zarnik/values/Indexer.h"
#include "zarnik/views/ImageView.h"

#include <functional>
#include <memory>

namespace zarnik::test {

using Image = std::shared_ptr<ImageView>;

inline uint64_t elementCount(VectorXu64 const & shape) {
  return std::accumulate(shape.begin(), shape.end(), uint64_t{1}, std::multiplies<>());
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

} // namespace zarnik::test
