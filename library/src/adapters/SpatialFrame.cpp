#include "adapters/SpatialFrame.h"

#include <algorithm>
#include <cmath>

namespace zarnik {
namespace {

constexpr double PARALLEL = 1e-9;

Vector3d along(Vector3d const & direction, double distance) {
  return {direction[0] * distance, direction[1] * distance, direction[2] * distance};
}

// Without the sign of zeros, which people would see.
Vector3d turned(Vector3d const & direction) { return {0.0 - direction[0], 0.0 - direction[1], 0.0 - direction[2]}; }

bool areParallel(Vector3d const & left, Vector3d const & right) {
  return left.cross(right).length() <= PARALLEL * left.length() * right.length();
}

Vector3d ofLengthOne(Vector3d direction) {
  direction.normalize();
  return direction;
}

Vector3d perpendicularTo(Vector3d const & direction) {
  auto const * const smallest = std::min_element(
      direction.begin(), direction.end(), [](double left, double right) { return std::abs(left) < std::abs(right); });
  Vector3d axis;
  axis[static_cast<size_t>(smallest - direction.begin())] = 1;
  return ofLengthOne(direction.cross(axis));
}

} // namespace

SpatialFrame::SpatialFrame(SpatialCalibrationProperty const & calibration, std::span<Meaning const> meanings)
    : origin_(calibration.origin()), unit_(calibration.unit()) {
  auto const & directions = calibration.directions();
  axes_[0].direction = directions.columnDirection();
  axes_[1].direction = directions.rowDirection();
  axes_[2].direction = directions.sliceDirection();
  for (size_t axis = 0; axis < axes_.size(); ++axis) {
    axes_[axis].spacing = calibration.spacing()[axis];
    auto const isPresent =
        std::find(meanings.begin(), meanings.end(), static_cast<ImageDimension>(axis)) != meanings.end();
    axes_[axis].isPresent = axes_[axis].isFixed = isPresent;
  }
}

SpatialFrame::Axis * SpatialFrame::find(Meaning axis) {
  auto const index = axis ? static_cast<size_t>(*axis) : axes_.size();
  return index < axes_.size() && axes_[index].isPresent ? &axes_[index] : nullptr;
}

void SpatialFrame::moveOrigin(Meaning axis, uint64_t elements) {
  if (auto const * const found = find(axis))
    origin_ += along(found->direction, static_cast<double>(elements) * found->spacing);
}

void SpatialFrame::turn(Meaning axis, uint64_t extent) {
  auto * const found = find(axis);
  if (found == nullptr)
    return;
  if (extent > 0)
    moveOrigin(axis, extent - 1);
  found->direction = turned(found->direction);
}

void SpatialFrame::stretch(Meaning axis, uint64_t step) {
  if (auto * const found = find(axis))
    found->spacing *= static_cast<double>(step);
}

void SpatialFrame::drop(Meaning axis) {
  if (auto * const found = find(axis)) {
    found->isPresent = found->isFixed = false;
    found->spacing = 1;
  }
}

void SpatialFrame::insert(Meaning axis, std::optional<Vector3d> const & next) {
  if (!axis || static_cast<size_t>(*axis) >= axes_.size())
    return;
  auto & added = axes_[static_cast<size_t>(*axis)];
  added.isPresent = true;
  if (!next)
    return;
  auto const direction =
      *axis == ImageDimension::SLICE ? axes_[0].direction.cross(axes_[1].direction) : added.direction;
  auto const distance = (*next - origin_).dot(direction) / direction.squaredLength();
  if (distance == 0 || !std::isfinite(distance))
    return;
  added.direction = direction;
  added.spacing = distance;
  added.isFixed = true;
}

void SpatialFrame::rename(std::span<Meaning const> from, std::span<Meaning const> to) {
  auto const before = axes_;
  for (auto & axis : axes_)
    axis.isPresent = axis.isFixed = false;
  for (size_t n = 0; n < from.size(); ++n) {
    auto const newAxis = to[n] ? static_cast<size_t>(*to[n]) : axes_.size();
    auto const oldAxis = from[n] ? static_cast<size_t>(*from[n]) : axes_.size();
    if (newAxis >= axes_.size())
      continue;
    if (oldAxis < axes_.size())
      axes_[newAxis] = before[oldAxis];
    axes_[newAxis].isPresent = true;
  }
  for (size_t axis = 0; axis < axes_.size(); ++axis)
    if (before[axis].isPresent && !axes_[axis].isPresent)
      axes_[axis].spacing = 1;
}

SpatialCalibrationProperty SpatialFrame::calibration() const {
  auto column = axes_[0].direction, row = axes_[1].direction;
  auto const & slice = axes_[2].direction;
  bool const isSliceFixed = axes_[2].isFixed;
  // Directions along which there are no samples give way where slices would run elsewhere.
  auto const fits = [&] {
    return !areParallel(column, row) && (!isSliceFixed || areParallel(column.cross(row), slice));
  };
  if (!fits() && !axes_[1].isFixed)
    row = isSliceFixed && !areParallel(slice, column) ? ofLengthOne(slice.cross(column)) : perpendicularTo(column);
  if (!fits() && !axes_[0].isFixed)
    column = isSliceFixed && !areParallel(row, slice) ? ofLengthOne(row.cross(slice)) : perpendicularTo(row);
  if (!fits() && !axes_[0].isFixed && !axes_[1].isFixed) {
    column = perpendicularTo(slice);
    row = ofLengthOne(slice.cross(column));
  }

  SpatialDirections const directions(column, row);
  auto const & normal = directions.sliceDirection();
  auto sliceSpacing = axes_[2].spacing;
  if (isSliceFixed && normal == turned(slice))
    sliceSpacing = -sliceSpacing;
  else if (isSliceFixed && normal != slice)
    sliceSpacing *= slice.dot(normal) / normal.squaredLength();
  return {origin_, {axes_[0].spacing, axes_[1].spacing, sliceSpacing}, directions, unit_};
}

} // namespace zarnik
