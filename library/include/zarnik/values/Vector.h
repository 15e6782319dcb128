#pragma once

#include "zarnik/core/Export.h"

#include <cstddef>
#include <cstdint>
#include <string>

#ifndef SWIG
#include "zarnik/values/Checked.h"
#include "zarnik/values/ElementTypes.h"

#include <initializer_list>
#endif

namespace zarnik {

#ifndef SWIG
template <typename T> class VectorX;
#endif

/// Mathematical vector of N components, N = 2, 3 or 4.
///
/// Integer arithmetic wraps around, signed integers too. Components of integer vectors are divided toward zero.
template <typename T, size_t N> class ZARNIK_API Vector {
public:
  typedef T ValueType;

  /// Create a vector with the given value for all components.
  ///
  /// \param value The value of each component.
  /// \return A new vector.
  static Vector<T, N> createUniform(ValueType value);

  /// Create a vector of zeros.
  Vector() = default;

  /// Create a vector from one of run-time size.
  ///
  /// \param other A vector of the same number of components.
  /// \throws InvalidArgument If it has another number of components.
  explicit Vector(VectorX<ValueType> const & other);

  /// Copy a vector.
  Vector(Vector<T, N> const & other) = default;

  /// Take over the components of another vector.
  Vector(Vector<T, N> && other) = default;

#ifndef SWIG
  /// Create a vector from its components.
  /// \throws InvalidArgument if there are not exactly N
  Vector(std::initializer_list<T> components);

  Vector & operator=(Vector const & other) = default;
  Vector & operator=(Vector && other) = default;

  T & operator[](size_t index) { return components_[index]; }
  T const & operator[](size_t index) const { return components_[index]; }
  T * data() { return components_; }
  T const * data() const { return components_; }
  T * begin() { return components_; }
  T * end() { return components_ + N; }
  T const * begin() const { return components_; }
  T const * end() const { return components_ + N; }
#endif

  /// Returns the size of the vector, which also correspond to vector number of dimension.
  ///
  /// \return The number of components.
  size_t size() const { return N; }

  /// Return a component.
  ///
  /// \param index Position of the component, from 0.
  /// \return The value of the component.
  /// \throws InvalidArgument If the vector has no such component.
  ValueType at(size_t index) const {
    if (index >= N)
      detail::throwIndexBeyond("component", index, N);
    return components_[index];
  }

  /// Change a component.
  ///
  /// \param index Position of the component, from 0.
  /// \param value The new value.
  /// \throws InvalidArgument If the vector has no such component.
  void setAt(size_t index, ValueType value) {
    if (index >= N)
      detail::throwIndexBeyond("component", index, N);
    components_[index] = value;
  }

  /// Return the squared length of the vector.
  ///
  /// Specifically, it is the L1 norm that's computed here.
  ///
  /// \return The sum of the squared components, in double precision.
  // The sentence is part of the published interface. The result is nevertheless the sum of the squared components,
  // in double precision, as the name says and as every caller needs.
  double squaredLength() const;

  /// Return the length of the vector.
  ///
  /// Specifically, it is the L1 norm that's computed here.
  ///
  /// \return The Euclidean length, in double precision.
  // The sentence is part of the published interface. The result is nevertheless the Euclidean length, in double
  // precision, as spacings and directions need it; components whose squares leave the range of double are scaled.
  double length() const;

  /// Divide the vector by its length.
  ///
  /// Components of integer vectors are rounded to the nearest integer.
  /// \throws InvalidArgument If the length is zero.
  void normalize();

  /// Check if all components are equal.
  ///
  /// \return True when both hold the same components.
  bool operator==(Vector<T, N> const & other) const;

  /// Check if a component differs.
  ///
  /// \return True when they do not hold the same components.
  bool operator!=(Vector<T, N> const & other) const;

  /// Return a string representation of the vector, as (1, 2, 3).
  ///
  /// \return The components in their order, separated by commas.
  std::string toString() const;

  /// Return the vector with the sign of each component changed.
  ///
  /// Unsigned components wrap around.
  ///
  /// \return A new vector.
  Vector<T, N> operator-() const;

  /// Add another vector.
  ///
  /// \return The vector itself.
  Vector<T, N> & operator+=(Vector<T, N> const & other);

  /// Subtract another vector.
  ///
  /// \return The vector itself.
  Vector<T, N> & operator-=(Vector<T, N> const & other);

  /// Return the sum of two vectors.
  ///
  /// \return A new vector.
  Vector<T, N> operator+(Vector<T, N> const & other) const;

  /// Return the difference of two vectors.
  ///
  /// \return A new vector.
  Vector<T, N> operator-(Vector<T, N> const & other) const;

  /// Dot product of two vectors.
  ///
  /// \param other The other vector.
  /// \return The sum of the products of the components, of the type of a component.
  ValueType dot(Vector<T, N> const & other) const;

  /// Cross product of two vectors.
  /// Work only for vectors of size 3.
  ///
  /// \param other The other vector.
  /// \return A new vector, perpendicular to both.
  /// \throws InvalidArgument If the vectors have not three components.
  Vector<T, N> cross(Vector<T, N> const & other) const;

  /// Multiply each component by a scalar.
  ///
  /// \return The vector itself.
  Vector<T, N> & operator*=(ValueType scalar);

  /// Multiply component by component.
  ///
  /// \return The vector itself.
  Vector<T, N> & operator*=(Vector<T, N> const & other);

  /// Divide each component by a scalar.
  ///
  /// \return The vector itself.
  /// \throws InvalidArgument If the quotient of two integers is not defined; the vector stays as it was.
  Vector<T, N> & operator/=(ValueType scalar);

  /// Divide component by component.
  ///
  /// \return The vector itself.
  /// \throws InvalidArgument If the quotient of two integers is not defined; the vector stays as it was.
  Vector<T, N> & operator/=(Vector<T, N> const & other);

  /// Return the product of the vector and a scalar.
  ///
  /// \return A new vector.
  Vector<T, N> operator*(ValueType scalar) const;

  /// Return the product component by component.
  ///
  /// \return A new vector.
  Vector<T, N> operator*(Vector<T, N> const & other) const;

  /// Return the quotient of the vector and a scalar.
  ///
  /// \return A new vector.
  /// \throws InvalidArgument If the quotient of two integers is not defined.
  Vector<T, N> operator/(ValueType scalar) const;

  /// Return the quotient component by component.
  ///
  /// \return A new vector.
  /// \throws InvalidArgument If the quotient of two integers is not defined.
  Vector<T, N> operator/(Vector<T, N> const & other) const;

  /// Check if the vector comes before another: the first components that differ decide.
  ///
  /// \return True when it does; false for equal vectors.
  bool operator<(Vector<T, N> const & other) const;

  /// Check if the vector comes before another or is equal: the first components that differ decide.
  ///
  /// \return True when it does or is; so for equal vectors.
  bool operator<=(Vector<T, N> const & other) const;

  /// Check if the vector comes after another: the first components that differ decide.
  ///
  /// \return True when it does; false for equal vectors.
  bool operator>(Vector<T, N> const & other) const;

  /// Check if the vector comes after another or is equal: the first components that differ decide.
  ///
  /// \return True when it does or is; so for equal vectors.
  bool operator>=(Vector<T, N> const & other) const;

  // Return the product of a scalar and a vector.
  friend Vector<T, N> operator*(ValueType scalar, Vector<T, N> const & operand) { return operand * scalar; }

private:
  T components_[N] = {};
};

#ifndef SWIG
#define ZARNIK_VECTORS(type, suffix)                                                                                   \
  using Vector2##suffix = Vector<type, 2>;                                                                             \
  using Vector3##suffix = Vector<type, 3>;                                                                             \
  using Vector4##suffix = Vector<type, 4>;                                                                             \
  extern template class Vector<type, 2>;                                                                               \
  extern template class Vector<type, 3>;                                                                               \
  extern template class Vector<type, 4>;
ZARNIK_FOR_EACH_ELEMENT_TYPE(ZARNIK_VECTORS)
#undef ZARNIK_VECTORS
#endif

} // namespace zarnik
