#pragma once

#include "zarnik/metadata/SpatialCalibrationProperty.h"
#include "zarnik/values/ImageType.h"

#include <array>
#include <optional>
#include <span>
#include <string>

namespace zarnik {

/// The calibration of an image while its axes are moved, turned, stretched, dropped and renamed: every sample stays
/// where it is in space.
class SpatialFrame {
public:
  using Meaning = std::optional<ImageDimension>;

  /// \param meanings of the axes that the image has
  SpatialFrame(SpatialCalibrationProperty const & calibration, std::span<Meaning const> meanings);

  // Meanings that are not spatial, or that the image does not have, change nothing.
  void moveOrigin(Meaning axis, uint64_t elements);
  void turn(Meaning axis, uint64_t extent);
  void stretch(Meaning axis, uint64_t step);
  void drop(Meaning axis);
  /// Adds an axis, along which the origin of the next element may be known.
  void insert(Meaning axis, std::optional<Vector3d> const & next);
  /// Gives all axes other meanings.
  void rename(std::span<Meaning const> from, std::span<Meaning const> to);

  /// The calibration. As its slice direction follows from the other two, slices that run against it have a negative
  /// spacing.
  SpatialCalibrationProperty calibration() const;

private:
  struct Axis {
    Vector3d direction;
    double spacing = 1;
    bool isPresent = false;
    bool isFixed = false; // samples lie along this direction
  };

  Axis * find(Meaning axis);

  Vector3d origin_;
  std::array<Axis, 3> axes_;
  std::string unit_;
};

} // namespace zarnik
