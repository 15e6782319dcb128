#pragma once

#include "adapters/AdaptedImageView.h"
#include "adapters/SpatialFrame.h"
#include "zarnik/metadata/ImageInfoProperty.h"

#include <memory>
#include <string>
#include <vector>

namespace zarnik {

/// A view of an image while it is made: each step changes the geometry or the values, and what the properties say of
/// them.
class Draft {
public:
  /// \throws InvalidArgument if the image is null
  /// \throws Error if its properties are not valid
  explicit Draft(std::shared_ptr<ImageView> image);

  VectorXu64 const & shape() const { return adaptation_.shape; }
  DataType type() const { return adaptation_.type; }
  size_t rank() const { return shape().size(); }
  bool knowsAxes() const { return knowsAxes_; }
  ImageInfoProperty & info() { return info_; }

  /// What an axis means; where the image does not tell, the first three are taken for the spatial ones.
  SpatialFrame::Meaning meaning(size_t axis) const { return meanings_[axis]; }
  bool has(ImageDimension dimension) const;
  /// \throws InvalidArgument if the image does not have the dimension
  size_t axisOf(ImageDimension dimension) const;
  /// The name of an axis, for people.
  std::string nameOf(size_t axis) const;

  // Geometry. Arguments have been checked.
  void crop(size_t axis, uint64_t origin, uint64_t size);
  void flip(size_t axis);
  void keepEvery(size_t axis, uint64_t step);
  void drop(size_t axis);
  void extractComponent(uint64_t component);
  void assemble(size_t axis);
  void disassemble();
  /// Gives the axes these meanings, none if it is not known, and brings them into canonical order.
  void rename(std::vector<SpatialFrame::Meaning> const & meanings);

  /// Converts the values.
  /// \throws InvalidArgument if the types cannot be converted
  void convert(DataType type, std::optional<LinearMap> map, std::optional<LinearMap> inverse, bool isInvertible);

  void restrictTo(ImageCapabilitySet allowed) { adaptation_.allowed &= allowed; }

  /// \param deed what was done, for people
  std::shared_ptr<ImageView> finish(std::string deed);

private:
  void selectChannels(uint64_t first, uint64_t count, uint64_t total);

  std::shared_ptr<ImageView> image_;
  std::shared_ptr<ImageProperties const> properties_;
  Adaptation adaptation_;
  ImageInfoProperty info_;
  bool knowsAxes_;
  std::vector<SpatialFrame::Meaning> meanings_;
  SpatialFrame frame_;
};

/// The meanings of the axes of an image, see Draft::meaning.
std::vector<SpatialFrame::Meaning> meaningsOf(ImageType const & axes, size_t rank);

/// The name of a dimension.
std::string nameOf(ImageDimension dimension);

/// Vectors of so many components, scalars for one.
/// \throws InvalidArgument if there are too many for a type
DataType typeOfComponents(DataType component, uint64_t count);

} // namespace zarnik
