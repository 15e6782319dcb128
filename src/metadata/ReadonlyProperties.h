#pragma once

#ifndef SWIG
#include "zarnik/metadata/ImageProperties.h"

#include <utility>
#endif

namespace zarnik {

/// View of a spatial calibration that offers no way to change it.
class ReadonlySpatialCalibrationProperty {
public:
  explicit ReadonlySpatialCalibrationProperty(std::shared_ptr<SpatialCalibrationProperty const> property)
      : property_(std::move(property)) {}

  /// Proxy for SpatialCalibrationProperty::origin.
  /// \return The position of the first element, in units.
  Vector3d const & origin() const { return property_->origin(); }

  /// Proxy for SpatialCalibrationProperty::spacing.
  /// \return The distances between elements along columns, rows and slices, in units.
  Vector3d const & spacing() const { return property_->spacing(); }

  /// Proxy for SpatialCalibrationProperty::directions.
  /// \return The directions of column, row and slice.
  SpatialDirections const & directions() const { return property_->directions(); }

  /// Proxy for SpatialCalibrationProperty::unit.
  /// \return The name of the unit, empty if it is not known.
  std::string const & unit() const { return property_->unit(); }

  /// Proxy for SpatialCalibrationProperty::toString.
  /// \return Origin, spacing, unit and directions, in one line.
  std::string toString() const { return property_->toString(); }

private:
  // Points into properties and keeps them: nobody is to be left with a part of what is gone.
  std::shared_ptr<SpatialCalibrationProperty const> property_;
};

/// View of an image information that offers no way to change it.
class ReadonlyImageInfoProperty {
public:
  explicit ReadonlyImageInfoProperty(std::shared_ptr<ImageInfoProperty const> property)
      : property_(std::move(property)) {}

  /// Proxy for ImageInfoProperty::axesInterpretation.
  /// \return The dimensions in canonical order, one for each axis of the image; none if they are not known.
  ImageType const & axesInterpretation() const { return property_->axesInterpretation(); }

  /// Proxy for ImageInfoProperty::interpretation.
  /// \return One of the ImageInterpretation constants.
  ImageInterpretation interpretation() const { return property_->interpretation(); }

  /// Proxy for ImageInfoProperty::alpha.
  /// \return True if the last channel is an alpha channel.
  bool alpha() const { return property_->alpha(); }

  /// Proxy for ImageInfoProperty::bitDepth.
  /// \return The bits that are really used in each value.
  size_t bitDepth() const { return property_->bitDepth(); }

  /// Proxy for ImageInfoProperty::valueRange.
  /// \return The smallest and the largest value that the values may take.
  Vector2d const & valueRange() const { return property_->valueRange(); }

  /// Proxy for ImageInfoProperty::toString.
  /// \return All properties with their names, in one line.
  std::string toString() const { return property_->toString(); }

private:
  std::shared_ptr<ImageInfoProperty const> property_;
};

/// View of image properties that offers no way to change them.
class ReadonlyImageProperties {
public:
  explicit ReadonlyImageProperties(std::shared_ptr<ImageProperties const> properties)
      : properties_(std::move(properties)) {}

  /// Proxy for ImageProperties::clone.
  /// \return New properties, which may be changed.
  std::shared_ptr<ImageProperties> clone() const { return properties_->clone(); }

  /// Proxy for ImageProperties::toString.
  /// \return Calibration and image information, a line each.
  std::string toString() const { return properties_->toString(); }

  /// Proxy for ImageProperties::calibration.
  /// \return A view of the calibration, which cannot be changed either.
  ReadonlySpatialCalibrationProperty calibration() const {
    return ReadonlySpatialCalibrationProperty({properties_, &properties_->calibration()});
  }

  /// Proxy for ImageProperties::imageInfo.
  /// \return A view of the information, which cannot be changed either.
  ReadonlyImageInfoProperty imageInfo() const {
    return ReadonlyImageInfoProperty({properties_, &properties_->imageInfo()});
  }

  /// Check if calibration and image information are equal.
  /// \return True when they are.
  bool operator==(ReadonlyImageProperties const & other) const { return *properties_ == *other.properties_; }

  /// Check if calibration and image information are equal.
  /// \return True when they are.
  bool operator==(ImageProperties const & other) const { return *properties_ == other; }

private:
  std::shared_ptr<ImageProperties const> properties_;
};

} // namespace zarnik
