#include "zarnik/values/TransformMatrixFactory.h"

#include "core/Guarded.h"

#include <cmath>
#include <fmt/format.h>

namespace zarnik {

namespace {

template <size_t N> Matrix<double, N + 1> translationMatrix(Vector<double, N> const & v) {
  auto result = Matrix<double, N + 1>::identity();
  for (size_t axis = 0; axis != N; ++axis)
    result.setAt(N, axis, v[axis]);
  return result;
}

template <size_t N> Matrix<double, N + 1> scalingMatrix(Vector<double, N> const & v) {
  auto result = Matrix<double, N + 1>::identity();
  for (size_t axis = 0; axis != N; ++axis)
    result.setAt(axis, axis, v[axis]);
  return result;
}

// Turns the axis `from` towards the axis `to`.
template <size_t N> Matrix<double, N> planeRotation(size_t from, size_t to, double angle) {
  auto result = Matrix<double, N>::identity();
  result.setAt(from, from, std::cos(angle));
  result.setAt(to, from, -std::sin(angle));
  result.setAt(from, to, std::sin(angle));
  result.setAt(to, to, std::cos(angle));
  return result;
}

size_t axisIndex(char axis, char first, std::string const & convention) {
  if (axis < first || axis > first + 2) {
    throw InvalidArgument(
        message("Euler convention '{}' is invalid, allowed are three of xyz (extrinsic) or three of XYZ (intrinsic)",
                convention));
  }
  return static_cast<size_t>(axis - first);
}

} // namespace

Matrix<double, 3> TransformMatrix3Factory::translation(Vector<double, 2> const & v) { return translationMatrix(v); }

Matrix<double, 3> TransformMatrix3Factory::rotation(double angle) { return planeRotation<3>(0, 1, angle); }

Matrix<double, 3> TransformMatrix3Factory::scaling(Vector<double, 2> const & v) { return scalingMatrix(v); }

Matrix<double, 4> TransformMatrix4Factory::translation(Vector<double, 3> const & v) { return translationMatrix(v); }

Matrix<double, 4> TransformMatrix4Factory::rotationEuler(Vector<double, 3> const & angles,
                                                         std::string const & convention) {
  if (convention.size() != 3)
    axisIndex('\0', 'x', convention);
  auto const isIntrinsic = convention[0] < 'a';
  auto result = Matrix<double, 4>::identity();
  for (size_t i = 0; i != 3; ++i) {
    auto const axis = axisIndex(convention[i], isIntrinsic ? 'X' : 'x', convention);
    auto const rotation = planeRotation<4>((axis + 1) % 3, (axis + 2) % 3, angles[i]);
    // A rotation around the fixed axes acts after those before it, one around the moved axes before them.
    result = isIntrinsic ? result * rotation : rotation * result;
  }
  return result;
}

// The formula of Rodrigues.
Matrix<double, 4> TransformMatrix4Factory::rotationOnAxis(double angle, Vector<double, 3> const & direction) {
  auto const length = direction.length();
  if (constexpr double tolerance = 1e-3; !(std::fabs(length - 1) <= tolerance))
    throw InvalidArgument(
        message("rotation axis {} has length {}, it must be normalized to 1", direction.toString(), length));
  auto const axis = direction / length;
  auto const sine = std::sin(angle);
  auto const cosine = std::cos(angle);
  auto result = Matrix<double, 4>::identity();
  for (size_t row = 0; row != 3; ++row) {
    for (size_t column = 0; column != 3; ++column)
      result.setAt(column, row, axis[row] * axis[column] * (1 - cosine));
    result.setAt(row, row, result.at(row, row) + cosine);
  }
  for (size_t i = 0; i != 3; ++i) {
    auto const j = (i + 1) % 3;
    auto const k = (i + 2) % 3;
    result.setAt(j, k, result.at(j, k) + axis[i] * sine);
    result.setAt(k, j, result.at(k, j) - axis[i] * sine);
  }
  return result;
}

Matrix<double, 4> TransformMatrix4Factory::scaling(Vector<double, 3> const & v) { return scalingMatrix(v); }

} // namespace zarnik
