#pragma once

#include "zarnik/core/Export.h"
#include "zarnik/values/Matrix.h"
#include "zarnik/values/Vector.h"

#include <string>

namespace zarnik {

/// Factory of homogeneous 3x3 matrices for transforms of the plane.
///
/// The matrices act on column vectors (x, y, 1).
class ZARNIK_API TransformMatrix3Factory {
public:
  /// Create a translation matrix.
  ///
  /// \param v The translation along each axis.
  /// \return A homogeneous matrix that adds v to a point (x, y, 1).
  static Matrix<double, 3> translation(Vector<double, 2> const & v);

  /// Create a rotation matrix.
  ///
  /// The rotation is done counter-clockwise, with the Y axis being up.
  /// \param angle The angle in radians.
  /// \return A homogeneous matrix that turns a point (x, y, 1) around the origin.
  static Matrix<double, 3> rotation(double angle);

  /// Create a Scaling matrix.
  ///
  /// \param v The scaling factors along each axis.
  /// \return A homogeneous matrix that multiplies a point (x, y, 1) by v axis by axis.
  static Matrix<double, 3> scaling(Vector<double, 2> const & v);
};

/// Factory of homogeneous 4x4 matrices for transforms of space.
///
/// The matrices act on column vectors (x, y, z, 1).
class ZARNIK_API TransformMatrix4Factory {
public:
  /// Create a translation matrix.
  ///
  /// \param v The translation along each axis.
  /// \return A homogeneous matrix that adds v to a point (x, y, z, 1).
  static Matrix<double, 4> translation(Vector<double, 3> const & v);

  /// Create a rotation matrix from three Euler angles.
  ///
  /// The convention is a string of three characters, each naming the axis of rotation for the corresponding angle.
  /// All lowercase means an extrinsic rotation (around the fixed axes), all uppercase an intrinsic one (around the
  /// axes as the rotations before left them). Mixed case is invalid.
  /// Extrinsic and intrinsic conventions are inverses of each other: intrinsic "ZYX" equals extrinsic "xyz" with
  /// the angles in reverse order.
  ///
  /// Common conventions:
  /// - "ZYX": rotation around Z, then Y, then X
  /// - "ZXZ": rotation around Z, then X, then Z
  ///
  /// \param angles The three angles in radians, each counter-clockwise.
  /// \param convention The axes of rotation.
  /// \return A homogeneous matrix that turns a point (x, y, z, 1) around the origin.
  /// \throws InvalidArgument If the convention is invalid.
  static Matrix<double, 4> rotationEuler(Vector<double, 3> const & angles, std::string const & convention);

  /// Create a rotation matrix around an axis.
  ///
  /// Rotation is done counter-clockwise, around the given axis. A length that is 1 to three digits is made exact.
  /// \param angle The angle in radians.
  /// \param axis The axis of rotation, must be normalized
  /// \return A homogeneous matrix that turns a point (x, y, z, 1) around the axis.
  /// \throws InvalidArgument If the length of the axis is not within 0.001 of 1.
  static Matrix<double, 4> rotationOnAxis(double angle, Vector<double, 3> const & axis);

  /// Create a scaling matrix.
  ///
  /// \param v The scaling factors along each axis.
  /// \return A homogeneous matrix that multiplies a point (x, y, z, 1) by v axis by axis.
  static Matrix<double, 4> scaling(Vector<double, 3> const & v);
};

} // namespace zarnik
