#pragma once

#include "zarnik/core/Export.h"
#ifndef SWIG
#include "zarnik/metadata/SpatialDirections.h"
#endif

#include <string>

namespace zarnik {

/// Where an image lies in space and how large its elements are.
///
/// The element (x, y, z) lies at origin + x * spacing.x * column + y * spacing.y * row + z * spacing.z * slice.
class ZARNIK_API SpatialCalibrationProperty {
public:
  /// Create a calibration with origin (0, 0, 0), spacing (1, 1, 1), directions along the axes and no unit.
  SpatialCalibrationProperty();

  /// Create a calibration; what is not given is as in the default one.
  /// \param origin The position of the first element, in units.
  explicit SpatialCalibrationProperty(Vector3d const & origin);

  /// Create a calibration; what is not given is as in the default one.
  /// \param origin  The position of the first element, in units.
  /// \param spacing The distances between elements along columns, rows and slices, in units.
  SpatialCalibrationProperty(Vector3d const & origin, Vector3d const & spacing);

  /// Create a calibration; what is not given is as in the default one.
  /// \param origin     The position of the first element, in units.
  /// \param spacing    The distances between elements along columns, rows and slices, in units.
  /// \param directions The directions of the axes.
  SpatialCalibrationProperty(Vector3d const & origin, Vector3d const & spacing, SpatialDirections const & directions);

  /// Create a calibration.
  /// \param origin     The position of the first element, in units.
  /// \param spacing    The distances between elements along columns, rows and slices, in units.
  /// \param directions The directions of the axes.
  /// \param unit       The name of the unit, such as "mm"; empty if it is not known.
  SpatialCalibrationProperty(Vector3d const & origin, Vector3d const & spacing, SpatialDirections const & directions,
                             std::string const & unit);

  /// Copy a calibration.
  SpatialCalibrationProperty(SpatialCalibrationProperty const & other);

  /// Take over a calibration.
  SpatialCalibrationProperty(SpatialCalibrationProperty && other) noexcept;

#ifndef SWIG
  SpatialCalibrationProperty & operator=(SpatialCalibrationProperty const & other) = default;
  SpatialCalibrationProperty & operator=(SpatialCalibrationProperty && other) noexcept = default;
#endif

  /// Destroy the calibration.
  ~SpatialCalibrationProperty();

  /// Return the position of the first element, in units.
  /// \return Its coordinates along the X, Y and Z axis of space.
  Vector3d const & origin() const;

  /// Return the distances between elements along columns, rows and slices, in units.
  /// \return The distances in this order: column (X), row (Y), slice (Z).
  Vector3d const & spacing() const;

  /// Return the directions of the axes.
  /// \return The directions of column, row and slice.
  SpatialDirections const & directions() const;

  /// Return the name of the unit, empty if it is not known.
  /// \return The name, such as "mm".
  std::string const & unit() const;

  /// Change the position of the first element.
  /// \param origin The new position, in units.
  void setOrigin(Vector3d const & origin);

  /// Change the distances between elements.
  ///
  /// Any values are taken; an image refuses spacings that are zero or not finite, see ImageProperties.
  /// \param spacing The new distances along columns, rows and slices, in units; negative ones turn the axis round.
  void setSpacing(Vector3d const & spacing);

  /// Change the directions of the axes.
  /// \param directions The new directions.
  void setDirections(SpatialDirections const & directions);

  /// Change the name of the unit; the numbers stay as they are.
  /// \param unit The new name, such as "mm"; empty if it is not known.
  void setUnit(std::string const & unit);

  /// Check if origin, spacing, directions and unit are equal.
  /// \return True when all of them are.
  bool operator==(SpatialCalibrationProperty const & other) const;

  /// Check if origin, spacing, directions or unit differ.
  /// \return True when at least one of them does.
  bool operator!=(SpatialCalibrationProperty const & other) const;

  /// Return a string description of the calibration.
  /// \return Origin, spacing, unit and directions, in one line.
  std::string toString() const;

private:
  Vector3d origin_;
  Vector3d spacing_;
  SpatialDirections directions_;
  std::string unit_;
};

} // namespace zarnik
