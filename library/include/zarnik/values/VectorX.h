#pragma once

#include "zarnik/core/Export.h"

#include <cstddef>
#include <cstdint>
#include <string>

#ifndef SWIG
#include "zarnik/values/Checked.h"
#include "zarnik/values/ElementTypes.h"

#include <cstring>
#include <initializer_list>
#endif

namespace zarnik {

/// Mathematical vector whose number of components is chosen at run time.
///
/// Shapes, origins, sizes and indices of images are such vectors. Up to six components are stored without an
/// allocation. Integer arithmetic wraps around, signed integers too. Components of integer vectors are divided
/// toward zero.
template <typename T> class ZARNIK_API VectorX {
public:
  typedef T ValueType;

  /// Creates a vector filled with one value.
  ///
  /// \param size Number of components.
  /// \param value The value of each component.
  /// \return A new vector.
  /// \throws Error If there is not enough memory.
  static VectorX<T> createUniform(size_t size, ValueType value);

  /// Create a vector without components.
  VectorX() noexcept {}

  /// Create a vector of zeros.
  ///
  /// \param count Number of components.
  /// \throws Error If there is not enough memory.
  explicit VectorX(size_t count) : size_(count) {
    if (count > INLINE_COUNT)
      storage_.outside = static_cast<T *>(detail::allocateZeroed(count, sizeof(T), "a vector"));
  }

  /// Copy a vector.
  VectorX(VectorX<T> const & other) : VectorX(other.size_) { copyComponents(other.data()); }

  /// Take over the components of another vector, which is left without components.
  VectorX(VectorX<T> && other) noexcept : size_(other.size_), storage_(other.storage_) { other.size_ = 0; }

#ifndef SWIG
  VectorX(std::initializer_list<T> components) : VectorX(components.size()) { copyComponents(components.begin()); }

  /// Create a vector of the components between two pointers.
  VectorX(T const * first, T const * last) : VectorX(static_cast<size_t>(last - first)) { copyComponents(first); }

  ~VectorX() { release(); }

  VectorX & operator=(VectorX const & other) {
    if (this != &other)
      *this = VectorX(other);
    return *this;
  }

  VectorX & operator=(VectorX && other) noexcept {
    if (this != &other) {
      release();
      size_ = other.size_;
      storage_ = other.storage_;
      other.size_ = 0;
    }
    return *this;
  }

  T & operator[](size_t index) { return data()[index]; }
  T const & operator[](size_t index) const { return data()[index]; }
  T * data() { return size_ <= INLINE_COUNT ? storage_.inside : storage_.outside; }
  T const * data() const { return size_ <= INLINE_COUNT ? storage_.inside : storage_.outside; }
  T * begin() { return data(); }
  T * end() { return data() + size_; }
  T const * begin() const { return data(); }
  T const * end() const { return data() + size_; }
#endif

  /// Returns the size of the vector, which also correspond to vector number of dimension.
  ///
  /// \return The number of components.
  size_t size() const { return size_; }

  /// Return a component.
  ///
  /// \param index Position of the component, from 0.
  /// \return The value of the component.
  /// \throws InvalidArgument If the vector has no such component.
  ValueType at(size_t index) const {
    if (index >= size_)
      detail::throwIndexBeyond("component", index, size_);
    return data()[index];
  }

  /// Change a component.
  ///
  /// \param index Position of the component, from 0.
  /// \param value The new value.
  /// \throws InvalidArgument If the vector has no such component.
  void setAt(size_t index, ValueType value) {
    if (index >= size_)
      detail::throwIndexBeyond("component", index, size_);
    data()[index] = value;
  }

  /// Check if two vectors have the same size and equal components.
  ///
  /// \return True when both hold the same components.
  bool operator==(VectorX<T> const & other) const;

  /// Check if two vectors differ in size or in a component.
  ///
  /// \return True when they do not hold the same components.
  bool operator!=(VectorX<T> const & other) const;

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

  /// Return a string representation of the vector, as (1, 2, 3).
  ///
  /// \return The components in their order, separated by commas; of more than 1000 the first and the last three.
  std::string toString() const;

  /// Return the vector with the sign of each component changed.
  ///
  /// Unsigned components wrap around.
  ///
  /// \return A new vector.
  VectorX<T> operator-() const;

  /// Add another vector.
  ///
  /// \return The vector itself.
  /// \throws InvalidArgument If the sizes differ.
  VectorX<T> & operator+=(VectorX<T> const & other);

  /// Subtract another vector.
  ///
  /// \return The vector itself.
  /// \throws InvalidArgument If the sizes differ.
  VectorX<T> & operator-=(VectorX<T> const & other);

  /// Return the sum of two vectors.
  ///
  /// \return A new vector.
  /// \throws InvalidArgument If the sizes differ.
  VectorX<T> operator+(VectorX<T> const & other) const;

  /// Return the difference of two vectors.
  ///
  /// \return A new vector.
  /// \throws InvalidArgument If the sizes differ.
  VectorX<T> operator-(VectorX<T> const & other) const;

  /// Dot product of two vectors.
  ///
  /// \param other The other vector.
  /// \return The sum of the products of the components, of the type of a component.
  /// \throws InvalidArgument If the sizes differ.
  ValueType dot(VectorX<T> const & other) const;

  /// Cross product of two vectors.
  /// Work only for vectors of size 3.
  ///
  /// \param other The other vector.
  /// \return A new vector, perpendicular to both.
  /// \throws InvalidArgument If the vectors have not three components.
  VectorX<T> cross(VectorX<T> const & other) const;

  /// Multiply each component by a scalar.
  ///
  /// \return The vector itself.
  VectorX<T> & operator*=(ValueType scalar);

  /// Multiply component by component.
  ///
  /// \return The vector itself.
  /// \throws InvalidArgument If the sizes differ.
  VectorX<T> & operator*=(VectorX<T> const & other);

  /// Divide each component by a scalar.
  ///
  /// \return The vector itself.
  /// \throws InvalidArgument If the quotient of two integers is not defined; the vector stays as it was.
  VectorX<T> & operator/=(ValueType scalar);

  /// Divide component by component.
  ///
  /// \return The vector itself.
  /// \throws InvalidArgument If the sizes differ, or the quotient of two integers is not defined; the vector stays
  /// as it was.
  VectorX<T> & operator/=(VectorX<T> const & other);

  /// Return the product of the vector and a scalar.
  ///
  /// \return A new vector.
  VectorX<T> operator*(ValueType scalar) const;

  /// Return the product component by component.
  ///
  /// \return A new vector.
  /// \throws InvalidArgument If the sizes differ.
  VectorX<T> operator*(VectorX<T> const & other) const;

  /// Return the quotient of the vector and a scalar.
  ///
  /// \return A new vector.
  /// \throws InvalidArgument If the quotient of two integers is not defined.
  VectorX<T> operator/(ValueType scalar) const;

  /// Return the quotient component by component.
  ///
  /// \return A new vector.
  /// \throws InvalidArgument If the sizes differ, or the quotient of two integers is not defined.
  VectorX<T> operator/(VectorX<T> const & other) const;

  /// Check if the vector comes before another: the first components that differ decide.
  ///
  /// \return True when it does; false for equal vectors.
  /// \throws InvalidArgument If the sizes differ.
  bool operator<(VectorX<T> const & other) const;

  /// Check if the vector comes before another or is equal: the first components that differ decide.
  ///
  /// \return True when it does or is; so for equal vectors.
  /// \throws InvalidArgument If the sizes differ.
  bool operator<=(VectorX<T> const & other) const;

  /// Check if the vector comes after another: the first components that differ decide.
  ///
  /// \return True when it does; false for equal vectors.
  /// \throws InvalidArgument If the sizes differ.
  bool operator>(VectorX<T> const & other) const;

  /// Check if the vector comes after another or is equal: the first components that differ decide.
  ///
  /// \return True when it does or is; so for equal vectors.
  /// \throws InvalidArgument If the sizes differ.
  bool operator>=(VectorX<T> const & other) const;

  // Return the product of a scalar and a vector.
  friend VectorX<T> operator*(ValueType scalar, VectorX<T> const & operand) { return operand * scalar; }

private:
#ifndef SWIG
  // Covers the rank of every image, with one to spare.
  static constexpr size_t INLINE_COUNT = 6;

  union Storage {
    T inside[INLINE_COUNT];
    T * outside;
  };

  void copyComponents(T const * source) {
    if (size_ != 0)
      std::memcpy(data(), source, size_ * sizeof(T));
  }

  void release() noexcept {
    if (size_ > INLINE_COUNT)
      detail::freeZeroed(storage_.outside);
  }

  size_t size_ = 0;
  Storage storage_ = {};
#endif
};

#ifndef SWIG
#define ZARNIK_VECTORS(type, suffix)                                                                                   \
  using VectorX##suffix = VectorX<type>;                                                                               \
  extern template class VectorX<type>;
ZARNIK_FOR_EACH_ELEMENT_TYPE(ZARNIK_VECTORS)
#undef ZARNIK_VECTORS
#endif

} // namespace zarnik
