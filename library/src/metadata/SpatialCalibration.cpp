#include "zarnik/metadata/SpatialCalibrationProperty.h"

#include "core/Guarded.h"
#include <fmt/format.h>

namespace zarnik {

SpatialDirections::SpatialDirections() : SpatialDirections({1, 0, 0}, {0, 1, 0}) {}

SpatialDirections::SpatialDirections(Vector3d const & column, Vector3d const & row)
    : column_(column), row_(row), slice_(column.cross(row)) {}

SpatialDirections::SpatialDirections(SpatialDirections const & other) = default;
SpatialDirections::SpatialDirections(SpatialDirections && other) noexcept = default;
SpatialDirections::~SpatialDirections() = default;

Vector3d const & SpatialDirections::columnDirection() const { return column_; }
Vector3d const & SpatialDirections::rowDirection() const { return row_; }
Vector3d const & SpatialDirections::sliceDirection() const { return slice_; }

bool SpatialDirections::operator==(SpatialDirections const & other) const {
  return column_ == other.column_ && row_ == other.row_ && slice_ == other.slice_;
}

bool SpatialDirections::operator!=(SpatialDirections const & other) const { return !(*this == other); }

std::string SpatialDirections::toString() const {
  return guarded([&] {
    return fmt::format("column {}, row {}, slice {}", column_.toString(), row_.toString(), slice_.toString());
  });
}

SpatialCalibrationProperty::SpatialCalibrationProperty() : SpatialCalibrationProperty(Vector3d{}) {}

SpatialCalibrationProperty::SpatialCalibrationProperty(Vector3d const & origin)
    : SpatialCalibrationProperty(origin, Vector3d::createUniform(1)) {}

SpatialCalibrationProperty::SpatialCalibrationProperty(Vector3d const & origin, Vector3d const & spacing)
    : SpatialCalibrationProperty(origin, spacing, SpatialDirections()) {}

SpatialCalibrationProperty::SpatialCalibrationProperty(Vector3d const & origin, Vector3d const & spacing,
                                                       SpatialDirections const & directions)
    : SpatialCalibrationProperty(origin, spacing, directions, std::string()) {}

SpatialCalibrationProperty::SpatialCalibrationProperty(Vector3d const & origin, Vector3d const & spacing,
                                                       SpatialDirections const & directions, std::string const & unit)
    : origin_(origin), spacing_(spacing), directions_(directions), unit_(guarded([&] { return unit; })) {}

SpatialCalibrationProperty::SpatialCalibrationProperty(SpatialCalibrationProperty const & other)
    : SpatialCalibrationProperty(other.origin_, other.spacing_, other.directions_, other.unit_) {}
SpatialCalibrationProperty::SpatialCalibrationProperty(SpatialCalibrationProperty && other) noexcept = default;
SpatialCalibrationProperty::~SpatialCalibrationProperty() = default;

Vector3d const & SpatialCalibrationProperty::origin() const { return origin_; }
Vector3d const & SpatialCalibrationProperty::spacing() const { return spacing_; }
SpatialDirections const & SpatialCalibrationProperty::directions() const { return directions_; }
std::string const & SpatialCalibrationProperty::unit() const { return unit_; }

void SpatialCalibrationProperty::setOrigin(Vector3d const & origin) { origin_ = origin; }
void SpatialCalibrationProperty::setSpacing(Vector3d const & spacing) { spacing_ = spacing; }
void SpatialCalibrationProperty::setDirections(SpatialDirections const & directions) { directions_ = directions; }
void SpatialCalibrationProperty::setUnit(std::string const & unit) {
  guarded([&] { unit_ = unit; });
}

bool SpatialCalibrationProperty::operator==(SpatialCalibrationProperty const & other) const {
  return origin_ == other.origin_ && spacing_ == other.spacing_ && directions_ == other.directions_ &&
         unit_ == other.unit_;
}

bool SpatialCalibrationProperty::operator!=(SpatialCalibrationProperty const & other) const {
  return !(*this == other);
}

std::string SpatialCalibrationProperty::toString() const {
  return guarded([&] {
    return fmt::format("origin {}, spacing {}, unit '{}', {}", origin_.toString(), spacing_.toString(), unit_,
                       directions_.toString());
  });
}

} // namespace zarnik
