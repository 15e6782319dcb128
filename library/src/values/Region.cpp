#include "zarnik/values/Region.h"

#include "Box.h"
#include "zarnik/values/RegionX.h"

namespace zarnik {

template <typename T, size_t N> size_t Region<T, N>::elementCount() const { return box::elementCount(size_); }

template <typename T, size_t N> Vector<T, N> Region<T, N>::max() const { return box::max(*this); }

template <typename T, size_t N> bool Region<T, N>::isEmpty() const { return box::isEmpty(size_); }

template <typename T, size_t N> bool Region<T, N>::contains(Region<T, N> const & other) const {
  return box::contains(*this, other);
}

template <typename T, size_t N> bool Region<T, N>::contains(Vector<T, N> const & point) const {
  return box::containsPoint(*this, point);
}

template <typename T, size_t N> bool Region<T, N>::intersect(Region<T, N> const & other) const {
  return !intersection(other).isEmpty();
}

template <typename T, size_t N> Region<T, N> Region<T, N>::intersection(Region<T, N> const & other) const {
  return box::intersection(*this, other);
}

template <typename T, size_t N> Region<T, N> Region<T, N>::extractSliceFromAxis(size_t dimension, T origin) const {
  return box::extractSlice(*this, dimension, origin);
}

template <typename T, size_t N> bool Region<T, N>::operator==(Region<T, N> const & other) const {
  return box::areIdentical(*this, other);
}

template <typename T, size_t N> std::string Region<T, N>::toString() const { return box::toString(*this); }

template <typename T, size_t N> Region<T, N>::Region(Vector<T, N> const & origin, Vector<T, N> const & size)
    : origin_(origin), size_(size) {
  box::requireFits(origin_, size_);
}

template <typename T, size_t N> Region<T, N>::Region(RegionX<T> const & other)
    : origin_(other.origin()), size_(other.size()) {}

template class Region<uint64_t, 2>;
template class Region<uint64_t, 3>;
template class Region<uint64_t, 4>;

} // namespace zarnik
