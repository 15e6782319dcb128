#include "zarnik/values/RegionX.h"

#include "Box.h"

namespace zarnik {

namespace {
void requireSameDimensions(size_t left, size_t right) {
  if (left != right)
    detail::throwSizeMismatch("dimensions of the regions", left, right);
}
} // namespace

template <typename T> RegionX<T> RegionX<T>::fromIndex(VectorX<T> const & position) {
  return RegionX<T>(position, VectorX<T>::createUniform(position.size(), 1));
}

template <typename T> RegionX<T>::RegionX(size_t dimensionCount) : origin_(dimensionCount), size_(dimensionCount) {}

template <typename T> RegionX<T>::RegionX(VectorX<T> const & origin, VectorX<T> const & size)
    : origin_(origin), size_(size) {
  if (origin_.size() != size_.size())
    detail::throwSizeMismatch("dimensions of region origin and size", origin_.size(), size_.size());
  box::requireFits(origin_, size_);
}

template <typename T> RegionX<T> RegionX<T>::createFullRegion(VectorX<T> const & size) {
  return RegionX<T>(VectorX<T>(size.size()), size);
}

template <typename T> VectorX<T> RegionX<T>::max() const { return box::max(*this); }

template <typename T> size_t RegionX<T>::elementCount() const { return box::elementCount(size_); }

template <typename T> bool RegionX<T>::isEmpty() const { return box::isEmpty(size_); }

template <typename T> bool RegionX<T>::contains(RegionX<T> const & other) const {
  requireSameDimensions(dimensionCount(), other.dimensionCount());
  return box::contains(*this, other);
}

template <typename T> bool RegionX<T>::contains(VectorX<T> const & point) const {
  if (point.size() != dimensionCount())
    detail::throwSizeMismatch("dimensions of region and point", dimensionCount(), point.size());
  return box::containsPoint(*this, point);
}

template <typename T> bool RegionX<T>::intersect(RegionX<T> const & other) const {
  return !intersection(other).isEmpty();
}

template <typename T> RegionX<T> RegionX<T>::intersection(RegionX<T> const & other) const {
  requireSameDimensions(dimensionCount(), other.dimensionCount());
  return box::intersection(*this, other);
}

template <typename T> RegionX<T> RegionX<T>::extractSliceFromAxis(size_t dimension, T origin) const {
  return box::extractSlice(*this, dimension, origin);
}

template <typename T> bool RegionX<T>::operator==(RegionX<T> const & other) const {
  return box::areIdentical(*this, other);
}

template <typename T> bool RegionX<T>::operator!=(RegionX<T> const & other) const { return !(*this == other); }

template <typename T> std::string RegionX<T>::toString() const { return box::toString(*this); }

template class RegionX<uint64_t>;

} // namespace zarnik
