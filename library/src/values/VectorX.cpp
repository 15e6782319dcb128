#include "zarnik/values/VectorX.h"

#include "Components.h"

#include <algorithm>

namespace zarnik {

namespace {
template <typename T> void requireSameSize(VectorX<T> const & left, VectorX<T> const & right) {
  if (left.size() != right.size())
    detail::throwSizeMismatch("components of the two vectors", left.size(), right.size());
}
} // namespace

template <typename T> VectorX<T> VectorX<T>::createUniform(size_t size, T value) {
  VectorX<T> result(size);
  std::fill_n(result.data(), size, value);
  return result;
}

template <typename T> double VectorX<T>::squaredLength() const { return components::squaredLength(data(), size_); }

template <typename T> double VectorX<T>::length() const { return components::length(data(), size_); }

template <typename T> void VectorX<T>::normalize() { components::normalize(data(), size_); }

template <typename T> bool VectorX<T>::operator==(VectorX<T> const & other) const {
  return size_ == other.size_ && components::areEqual(data(), other.data(), size_);
}

template <typename T> bool VectorX<T>::operator!=(VectorX<T> const & other) const { return !(*this == other); }

template <typename T> std::string VectorX<T>::toString() const { return components::toString(data(), size_); }

template <typename T> VectorX<T> VectorX<T>::operator-() const {
  VectorX<T> result(*this);
  components::negate(result.data(), size_);
  return result;
}

template <typename T> VectorX<T> & VectorX<T>::operator+=(VectorX<T> const & other) {
  requireSameSize(*this, other);
  components::add(data(), other.data(), size_);
  return *this;
}

template <typename T> VectorX<T> & VectorX<T>::operator-=(VectorX<T> const & other) {
  requireSameSize(*this, other);
  components::subtract(data(), other.data(), size_);
  return *this;
}

template <typename T> VectorX<T> VectorX<T>::operator+(VectorX<T> const & other) const {
  return VectorX<T>(*this) += other;
}

template <typename T> VectorX<T> VectorX<T>::operator-(VectorX<T> const & other) const {
  return VectorX<T>(*this) -= other;
}

template <typename T> T VectorX<T>::dot(VectorX<T> const & other) const {
  requireSameSize(*this, other);
  return components::dot(data(), other.data(), size_);
}

template <typename T> VectorX<T> VectorX<T>::cross(VectorX<T> const & other) const {
  requireSameSize(*this, other);
  components::requireThree(size_);
  VectorX<T> result(*this);
  components::cross(data(), other.data(), result.data());
  return result;
}

template <typename T> VectorX<T> & VectorX<T>::operator*=(T scalar) {
  components::multiply(data(), scalar, size_);
  return *this;
}

template <typename T> VectorX<T> & VectorX<T>::operator*=(VectorX<T> const & other) {
  requireSameSize(*this, other);
  components::multiply(data(), other.data(), size_);
  return *this;
}

template <typename T> VectorX<T> & VectorX<T>::operator/=(T scalar) {
  components::divide(data(), scalar, size_);
  return *this;
}

template <typename T> VectorX<T> & VectorX<T>::operator/=(VectorX<T> const & other) {
  requireSameSize(*this, other);
  components::divide(data(), other.data(), size_);
  return *this;
}

template <typename T> VectorX<T> VectorX<T>::operator*(T scalar) const { return VectorX<T>(*this) *= scalar; }

template <typename T> VectorX<T> VectorX<T>::operator*(VectorX<T> const & other) const {
  return VectorX<T>(*this) *= other;
}

template <typename T> VectorX<T> VectorX<T>::operator/(T scalar) const { return VectorX<T>(*this) /= scalar; }

template <typename T> VectorX<T> VectorX<T>::operator/(VectorX<T> const & other) const {
  return VectorX<T>(*this) /= other;
}

template <typename T> bool VectorX<T>::operator<(VectorX<T> const & other) const {
  requireSameSize(*this, other);
  return components::isBefore(data(), other.data(), size_, false);
}

template <typename T> bool VectorX<T>::operator<=(VectorX<T> const & other) const {
  requireSameSize(*this, other);
  return components::isBefore(data(), other.data(), size_, true);
}

template <typename T> bool VectorX<T>::operator>(VectorX<T> const & other) const { return other < *this; }

template <typename T> bool VectorX<T>::operator>=(VectorX<T> const & other) const { return other <= *this; }

#define ZARNIK_VECTORS(type, suffix) template class VectorX<type>;
ZARNIK_FOR_EACH_ELEMENT_TYPE(ZARNIK_VECTORS)

} // namespace zarnik
