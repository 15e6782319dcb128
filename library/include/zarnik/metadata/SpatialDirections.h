#pragma once

#include "zarnik/core/Export.h"
#ifndef SWIG
#include "zarnik/values/Vector.h"
#endif

#include <string>

namespace zarnik {

/// Directions in space of an image's first three axes: column (X), row (Y) and slice (Z).
class ZARNIK_API SpatialDirections {
public:
  /// Create the directions of an image that lies along the axes of space: (1, 0, 0), (0, 1, 0), (0, 0, 1).
  SpatialDirections();

  /// Create directions from those of columns and rows.
  ///
  /// Both are kept as they are given. The direction of slices is their cross product, so for perpendicular directions
  /// of length 1 it has length 1 too.
  /// \param column The direction in which the column index grows.
  /// \param row    The direction in which the row index grows.
  SpatialDirections(Vector3d const & column, Vector3d const & row);

  /// Copy directions.
  SpatialDirections(SpatialDirections const & other);

  /// Take over directions.
  SpatialDirections(SpatialDirections && other) noexcept;

#ifndef SWIG
  SpatialDirections & operator=(SpatialDirections const & other) = default;
#endif

  /// Destroy the directions.
  ~SpatialDirections();

  /// Return the direction in which the column index (X) grows.
  /// \return Its components along the X, Y and Z axis of space.
  Vector3d const & columnDirection() const;

  /// Return the direction in which the row index (Y) grows.
  /// \return Its components along the X, Y and Z axis of space.
  Vector3d const & rowDirection() const;

  /// Return the direction in which the slice index (Z) grows.
  /// \return The cross product of the other two directions.
  Vector3d const & sliceDirection() const;

  /// Check if all three directions are equal.
  /// \return True when they are.
  bool operator==(SpatialDirections const & other) const;

  /// Check if any of the directions differ.
  /// \return True when at least one does.
  bool operator!=(SpatialDirections const & other) const;

  /// Return a string decription of the spatial directions.
  /// \return The three directions with their names, in one line.
  std::string toString() const;

private:
  Vector3d column_;
  Vector3d row_;
  Vector3d slice_;
};

} // namespace zarnik
