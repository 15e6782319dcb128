#pragma once

#include "zarnik/core/Export.h"
#ifndef SWIG
#include "zarnik/metadata/ImageInfoProperty.h"
#include "zarnik/metadata/SpatialCalibrationProperty.h"
#include "zarnik/values/VectorX.h"
#endif

#include <memory>
#include <string>

namespace zarnik {

/// The properties of an image: its spatial calibration and its image information.
class ZARNIK_API ImageProperties {
public:
  /// Create properties from their two parts.
  /// \param calibration The spatial calibration.
  /// \param imageInfo   The image information.
  ImageProperties(SpatialCalibrationProperty const & calibration, ImageInfoProperty const & imageInfo);

  /// Copy properties.
  ImageProperties(ImageProperties const & other);

  /// Take over properties.
  ImageProperties(ImageProperties && other) noexcept;

#ifndef SWIG
  ImageProperties & operator=(ImageProperties const & other) = default;
  ImageProperties & operator=(ImageProperties && other) noexcept = default;
#endif

  /// Destroy the properties.
  ~ImageProperties();

  /// Create properties with all values defaulted for a data type.
  ///
  /// The calibration has origin (0, 0, 0), spacing (1, 1, 1), directions along the axes and no unit.
  /// The image information has unknown axes, an unknown interpretation, no alpha channel, the bit depth of the type
  /// and its standard range: the bounds of an integer type, (0, 1) for a floating point type, (0, 0) for a type
  /// without a range.
  /// \param dtype The data type of the image.
  /// \return New properties, compatible with every image of this type.
  static std::shared_ptr<ImageProperties> fromDataType(DataType dtype);

  /// Create properties from their two parts.
  /// \param calibration The spatial calibration.
  /// \param imageInfo   The image information.
  /// \return New properties.
  static std::shared_ptr<ImageProperties> fromProperties(SpatialCalibrationProperty const & calibration,
                                                         ImageInfoProperty const & imageInfo);

  /// Copy properties with another calibration.
  /// \param properties  The properties to copy; they stay as they are.
  /// \param calibration The spatial calibration of the copy.
  /// \return New properties.
  static std::shared_ptr<ImageProperties> fromProperties(ImageProperties const & properties,
                                                         SpatialCalibrationProperty const & calibration);

  /// Copy properties with another image information.
  /// \param properties The properties to copy; they stay as they are.
  /// \param imageInfo  The image information of the copy.
  /// \return New properties.
  static std::shared_ptr<ImageProperties> fromProperties(ImageProperties const & properties,
                                                         ImageInfoProperty const & imageInfo);

  /// Copy these properties.
  /// \return New properties.
  std::shared_ptr<ImageProperties> clone() const;

  /// Return the spatial calibration.
  /// \return The calibration. To change it, change a copy and set that.
  SpatialCalibrationProperty const & calibration() const;

  /// Replace the spatial calibration.
  /// \param calibration The new calibration.
  void setCalibration(SpatialCalibrationProperty const & calibration);

  /// Return the image information.
  /// \return The information. To change it, change a copy and set that.
  ImageInfoProperty const & imageInfo() const;

  /// Replace the image information.
  /// \param imageInfo The new information.
  void setImageInfo(ImageInfoProperty const & imageInfo);

#ifndef SWIG
  SpatialCalibrationProperty & calibration();
  ImageInfoProperty & imageInfo();
#endif

  /// Check if an image of the given shape and type can have these properties.
  ///
  /// It can unless
  ///  - the axes are known and their number is not that of the shape
  ///  - the bit depth is 0 or above that of the type
  ///  - there is an alpha channel, but the interpretation is not a colour model
  ///  - the interpretation is a colour model and the image has several channels, but not as many as the model and
  ///    alpha need. An image of one channel may be a plane of a colour image.
  ///  - a spacing is zero or not finite, or the origin is not finite
  ///  - the directions are not finite or do not span the space
  ///  - the value range is not a number
  /// \param shape The extents of the image.
  /// \param dtype The data type of the image.
  /// \return True when the properties are usable for the image.
  bool isCompatibleWith(VectorXu64 const & shape, DataType dtype) const;

#ifndef SWIG
  /// Says what isCompatibleWith objects to, naming the value and what was allowed; empty if it does not.
  std::string incompatibilityWith(VectorXu64 const & shape, DataType dtype) const;

  /// \throws InvalidArgument with the text of incompatibilityWith, if there is one
  void requireCompatibleWith(VectorXu64 const & shape, DataType dtype) const;

  /// Likewise, but interpretation, alpha and the number of channels need not agree: on an image that exists, they are
  /// set one after the other.
  void requireSettableOn(VectorXu64 const & shape, DataType dtype) const;
#endif

  /// Check if calibration and image information are equal.
  /// \return True when they are.
  bool operator==(ImageProperties const & other) const;

  /// Return a string description of the properties.
  /// \return Calibration and image information, a line each.
  std::string toString() const;

private:
  SpatialCalibrationProperty calibration_;
  ImageInfoProperty imageInfo_;
};

} // namespace zarnik
