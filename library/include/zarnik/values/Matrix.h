#pragma once

#include "zarnik/core/Export.h"
#include "zarnik/values/Vector.h"

#include <cstddef>
#include <string>

namespace zarnik {

/// Square matrix of N x N floating point numbers, N = 3 or 4.
///
/// Elements are addressed by (column, row). Matrices act on column vectors.
template <typename T, size_t N> class ZARNIK_API Matrix {
public:
  /// Return an identity matrix.
  ///
  /// \return A new matrix, 1 on the diagonal and 0 elsewhere.
  static Matrix<T, N> identity();

  /// Return a matrix with the given value for all elements.
  ///
  /// \param value The value of each element.
  /// \return A new matrix.
  static Matrix<T, N> uniform(T value);

  /// Default constructor.
  ///
  /// All elements are 0.
  Matrix() = default;

  /// Check if all elements are equal.
  ///
  /// \return True when every element equals that at the same place of the other matrix.
  bool operator==(Matrix<T, N> const & other) const;

  /// Check if an element differs.
  ///
  /// \return True when at least one does.
  bool operator!=(Matrix<T, N> const & other) const;

  /// Return an element.
  ///
  /// \param column Column of the element, from 0.
  /// \param row Row of the element, from 0.
  /// \return The value of the element.
  /// \throws InvalidArgument If the matrix has no such element.
  T at(size_t column, size_t row) const;

  /// Return an element.
  ///
  /// \param column Column of the element, from 0.
  /// \param row Row of the element, from 0.
  /// \return The value of the element.
  /// \throws InvalidArgument If the matrix has no such element.
  T operator()(size_t column, size_t row) const;

  /// Change an element.
  ///
  /// \param column Column of the element, from 0.
  /// \param row Row of the element, from 0.
  /// \param value The new value.
  /// \throws InvalidArgument If the matrix has no such element.
  void setAt(size_t column, size_t row, T value);

  /// Exchange rows and columns of the matrix.
  void transposeInPlace();

  /// Return the matrix with rows and columns exchanged.
  ///
  /// \return A new matrix.
  Matrix<T, N> transpose() const;

  /// Return the inverse of the matrix.
  ///
  /// \warning Calling this method on a non-invertable matrix will cause
  /// undefined behaviour.
  /// \return A new matrix, computed in double precision.
  // Undefined in value only: some elements are infinite or not numbers. Computed in double precision by Gauss-Jordan
  // elimination with partial pivoting (Golub and Van Loan, Matrix Computations, 3.4).
  Matrix<T, N> inverse() const;

  /// Return a string representation of the matrix.
  ///
  /// \return The rows from the first to the last, as ((1, 2), (3, 4)).
  std::string toString() const;

  /// Return the matrix with the sign of each element changed.
  ///
  /// \return A new matrix.
  Matrix<T, N> operator-() const;

  /// Add another matrix.
  ///
  /// \return The matrix itself.
  Matrix<T, N> & operator+=(Matrix<T, N> const & other);

  /// Subtract another matrix.
  ///
  /// \return The matrix itself.
  Matrix<T, N> & operator-=(Matrix<T, N> const & other);

  /// Return the sum of two matrices.
  ///
  /// \return A new matrix.
  Matrix<T, N> operator+(Matrix<T, N> const & other) const;

  /// Return the difference of two matrices.
  ///
  /// \return A new matrix.
  Matrix<T, N> operator-(Matrix<T, N> const & other) const;

  /// Multiply each element by a scalar.
  ///
  /// \return The matrix itself.
  Matrix<T, N> & operator*=(T scalar);

  /// Divide each element by a scalar.
  ///
  /// \return The matrix itself.
  Matrix<T, N> & operator/=(T scalar);

  /// Return the product of the matrix and a scalar.
  ///
  /// \return A new matrix.
  Matrix<T, N> operator*(T scalar) const;

  /// Return the matrix product.
  ///
  /// \return A new matrix, which acts on a vector as the other matrix and then this one.
  Matrix<T, N> operator*(Matrix<T, N> const & other) const;

  /// Return the product of the matrix and a column vector.
  ///
  /// \return A new vector.
  Vector<T, N> operator*(Vector<T, N> const & vector) const;

  /// Return the quotient of the matrix and a scalar.
  ///
  /// \return A new matrix.
  Matrix<T, N> operator/(T scalar) const;

#ifndef SWIG
  /// Elements row by row.
  T * data() { return elements_; }
  T const * data() const { return elements_; }
#endif

private:
  T elements_[N * N] = {};
};

#ifndef SWIG
using Matrix3f = Matrix<float, 3>;
using Matrix3d = Matrix<double, 3>;
using Matrix4f = Matrix<float, 4>;
using Matrix4d = Matrix<double, 4>;
extern template class Matrix<float, 3>;
extern template class Matrix<double, 3>;
extern template class Matrix<float, 4>;
extern template class Matrix<double, 4>;
#endif

} // namespace zarnik
