#include "zarnik/values/Matrix.h"

#include "Components.h"
#include "core/Guarded.h"

#include <algorithm>
#include <utility>

namespace zarnik {

namespace {

template <size_t N> size_t position(size_t column, size_t row) {
  if (column >= N)
    detail::throwIndexBeyond("column", column, N);
  if (row >= N)
    detail::throwIndexBeyond("row", row, N);
  return row * N + column;
}

} // namespace

template <typename T, size_t N> Matrix<T, N> Matrix<T, N>::identity() {
  Matrix<T, N> result;
  for (size_t i = 0; i != N; ++i)
    result.elements_[i * N + i] = 1;
  return result;
}

template <typename T, size_t N> Matrix<T, N> Matrix<T, N>::uniform(T value) {
  Matrix<T, N> result;
  std::fill_n(result.elements_, N * N, value);
  return result;
}

template <typename T, size_t N> bool Matrix<T, N>::operator==(Matrix<T, N> const & other) const {
  return components::areEqual(elements_, other.elements_, N * N);
}

template <typename T, size_t N> bool Matrix<T, N>::operator!=(Matrix<T, N> const & other) const {
  return !(*this == other);
}

template <typename T, size_t N> T Matrix<T, N>::at(size_t column, size_t row) const {
  return elements_[position<N>(column, row)];
}

template <typename T, size_t N> T Matrix<T, N>::operator()(size_t column, size_t row) const { return at(column, row); }

template <typename T, size_t N> void Matrix<T, N>::setAt(size_t column, size_t row, T value) {
  elements_[position<N>(column, row)] = value;
}

template <typename T, size_t N> void Matrix<T, N>::transposeInPlace() {
  for (size_t row = 0; row != N; ++row)
    for (size_t column = 0; column != row; ++column)
      std::swap(elements_[row * N + column], elements_[column * N + row]);
}

template <typename T, size_t N> Matrix<T, N> Matrix<T, N>::transpose() const {
  auto result = *this;
  result.transposeInPlace();
  return result;
}

template <typename T, size_t N> Matrix<T, N> Matrix<T, N>::inverse() const {
  constexpr size_t width = 2 * N;
  double rows[N][width] = {};
  for (size_t row = 0; row != N; ++row) {
    std::copy_n(elements_ + row * N, N, rows[row]);
    rows[row][N + row] = 1;
  }
  for (size_t step = 0; step != N; ++step) {
    auto pivot = step;
    for (auto row = step + 1; row != N; ++row)
      if (std::fabs(rows[row][step]) > std::fabs(rows[pivot][step]))
        pivot = row;
    std::swap(rows[pivot], rows[step]);
    auto const divisor = rows[step][step];
    for (auto & element : rows[step])
      element /= divisor;
    for (size_t row = 0; row != N; ++row) {
      auto const factor = rows[row][step];
      if (row != step)
        for (size_t column = 0; column != width; ++column)
          rows[row][column] -= factor * rows[step][column];
    }
  }
  Matrix<T, N> result;
  for (size_t row = 0; row != N; ++row)
    for (size_t column = 0; column != N; ++column)
      result.elements_[row * N + column] = static_cast<T>(rows[row][N + column]);
  return result;
}

template <typename T, size_t N> std::string Matrix<T, N>::toString() const {
  return guarded([&] {
    std::string text = "(";
    for (size_t row = 0; row != N; ++row)
      text += (row == 0 ? "" : ", ") + components::toString(elements_ + row * N, N);
    return text + ")";
  });
}

template <typename T, size_t N> Matrix<T, N> Matrix<T, N>::operator-() const {
  auto result = *this;
  components::negate(result.elements_, N * N);
  return result;
}

template <typename T, size_t N> Matrix<T, N> & Matrix<T, N>::operator+=(Matrix<T, N> const & other) {
  components::add(elements_, other.elements_, N * N);
  return *this;
}

template <typename T, size_t N> Matrix<T, N> & Matrix<T, N>::operator-=(Matrix<T, N> const & other) {
  components::subtract(elements_, other.elements_, N * N);
  return *this;
}

template <typename T, size_t N> Matrix<T, N> Matrix<T, N>::operator+(Matrix<T, N> const & other) const {
  return Matrix<T, N>(*this) += other;
}

template <typename T, size_t N> Matrix<T, N> Matrix<T, N>::operator-(Matrix<T, N> const & other) const {
  return Matrix<T, N>(*this) -= other;
}

template <typename T, size_t N> Matrix<T, N> & Matrix<T, N>::operator*=(T scalar) {
  components::multiply(elements_, scalar, N * N);
  return *this;
}

template <typename T, size_t N> Matrix<T, N> & Matrix<T, N>::operator/=(T scalar) {
  components::divide(elements_, scalar, N * N);
  return *this;
}

template <typename T, size_t N> Matrix<T, N> Matrix<T, N>::operator*(T scalar) const {
  return Matrix<T, N>(*this) *= scalar;
}

template <typename T, size_t N> Matrix<T, N> Matrix<T, N>::operator*(Matrix<T, N> const & other) const {
  Matrix<T, N> result;
  for (size_t row = 0; row != N; ++row) {
    for (size_t inner = 0; inner != N; ++inner)
      for (size_t column = 0; column != N; ++column)
        result.elements_[row * N + column] += elements_[row * N + inner] * other.elements_[inner * N + column];
  }
  return result;
}

template <typename T, size_t N> Vector<T, N> Matrix<T, N>::operator*(Vector<T, N> const & vector) const {
  Vector<T, N> result;
  for (size_t row = 0; row != N; ++row)
    result[row] = components::dot(elements_ + row * N, vector.data(), N);
  return result;
}

template <typename T, size_t N> Matrix<T, N> Matrix<T, N>::operator/(T scalar) const {
  return Matrix<T, N>(*this) /= scalar;
}

template class Matrix<float, 3>;
template class Matrix<double, 3>;
template class Matrix<float, 4>;
template class Matrix<double, 4>;

} // namespace zarnik
