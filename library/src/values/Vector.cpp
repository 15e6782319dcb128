#include "zarnik/values/Vector.h"

#include "Components.h"
#include "zarnik/values/VectorX.h"

#include <algorithm>

namespace zarnik {

namespace {
template <typename T, size_t N> void copyExactly(T const * source, size_t size, T (&destination)[N]) {
  if (size != N)
    throw InvalidArgument(message("a vector of {} components cannot be made from {}", N, size));
  std::copy_n(source, N, destination);
}
} // namespace

template <typename T, size_t N> Vector<T, N> Vector<T, N>::createUniform(T value) {
  Vector<T, N> result;
  std::fill_n(result.components_, N, value);
  return result;
}

template <typename T, size_t N> Vector<T, N>::Vector(VectorX<T> const & other) {
  copyExactly(other.data(), other.size(), components_);
}

template <typename T, size_t N> Vector<T, N>::Vector(std::initializer_list<T> components) {
  copyExactly(components.begin(), components.size(), components_);
}

template <typename T, size_t N> double Vector<T, N>::squaredLength() const {
  return components::squaredLength(components_, N);
}

template <typename T, size_t N> double Vector<T, N>::length() const { return components::length(components_, N); }

template <typename T, size_t N> void Vector<T, N>::normalize() { components::normalize(components_, N); }

template <typename T, size_t N> bool Vector<T, N>::operator==(Vector<T, N> const & other) const {
  return components::areEqual(components_, other.components_, N);
}

template <typename T, size_t N> bool Vector<T, N>::operator!=(Vector<T, N> const & other) const {
  return !(*this == other);
}

template <typename T, size_t N> std::string Vector<T, N>::toString() const {
  return components::toString(components_, N);
}

template <typename T, size_t N> Vector<T, N> Vector<T, N>::operator-() const {
  Vector<T, N> result(*this);
  components::negate(result.data(), N);
  return result;
}

template <typename T, size_t N> Vector<T, N> & Vector<T, N>::operator+=(Vector<T, N> const & other) {
  components::add(components_, other.components_, N);
  return *this;
}

template <typename T, size_t N> Vector<T, N> & Vector<T, N>::operator-=(Vector<T, N> const & other) {
  components::subtract(components_, other.components_, N);
  return *this;
}

template <typename T, size_t N> Vector<T, N> Vector<T, N>::operator+(Vector<T, N> const & other) const {
  return Vector<T, N>(*this) += other;
}

template <typename T, size_t N> Vector<T, N> Vector<T, N>::operator-(Vector<T, N> const & other) const {
  return Vector<T, N>(*this) -= other;
}

template <typename T, size_t N> T Vector<T, N>::dot(Vector<T, N> const & other) const {
  return components::dot(components_, other.components_, N);
}

template <typename T, size_t N> Vector<T, N> Vector<T, N>::cross(Vector<T, N> const & other) const {
  components::requireThree(N);
  Vector<T, N> result(*this);
  components::cross(components_, other.components_, result.data());
  return result;
}

template <typename T, size_t N> Vector<T, N> & Vector<T, N>::operator*=(T scalar) {
  components::multiply(components_, scalar, N);
  return *this;
}

template <typename T, size_t N> Vector<T, N> & Vector<T, N>::operator*=(Vector<T, N> const & other) {
  components::multiply(components_, other.components_, N);
  return *this;
}

template <typename T, size_t N> Vector<T, N> & Vector<T, N>::operator/=(T scalar) {
  components::divide(components_, scalar, N);
  return *this;
}

template <typename T, size_t N> Vector<T, N> & Vector<T, N>::operator/=(Vector<T, N> const & other) {
  components::divide(components_, other.components_, N);
  return *this;
}

template <typename T, size_t N> Vector<T, N> Vector<T, N>::operator*(T scalar) const {
  return Vector<T, N>(*this) *= scalar;
}

template <typename T, size_t N> Vector<T, N> Vector<T, N>::operator*(Vector<T, N> const & other) const {
  return Vector<T, N>(*this) *= other;
}

template <typename T, size_t N> Vector<T, N> Vector<T, N>::operator/(T scalar) const {
  return Vector<T, N>(*this) /= scalar;
}

template <typename T, size_t N> Vector<T, N> Vector<T, N>::operator/(Vector<T, N> const & other) const {
  return Vector<T, N>(*this) /= other;
}

template <typename T, size_t N> bool Vector<T, N>::operator<(Vector<T, N> const & other) const {
  return components::isBefore(components_, other.components_, N, false);
}

template <typename T, size_t N> bool Vector<T, N>::operator<=(Vector<T, N> const & other) const {
  return components::isBefore(components_, other.components_, N, true);
}

template <typename T, size_t N> bool Vector<T, N>::operator>(Vector<T, N> const & other) const { return other < *this; }

template <typename T, size_t N> bool Vector<T, N>::operator>=(Vector<T, N> const & other) const {
  return other <= *this;
}

#define ZARNIK_VECTORS(type, suffix)                                                                                   \
  template class Vector<type, 2>;                                                                                      \
  template class Vector<type, 3>;                                                                                      \
  template class Vector<type, 4>;
ZARNIK_FOR_EACH_ELEMENT_TYPE(ZARNIK_VECTORS)

} // namespace zarnik
