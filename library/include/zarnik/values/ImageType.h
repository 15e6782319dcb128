#pragma once

#include "zarnik/core/Export.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace zarnik {

/// Meaning of an axis of an image: X, Y, Z, C and T.
enum class ImageDimension { COLUMN = 0, ROW = 1, SLICE = 2, CHANNEL = 3, SEQUENCE = 4 };

/// List of the dimensions of an image.
///
/// The dimensions stand in canonical order (COLUMN, ROW, SLICE, CHANNEL, SEQUENCE), whatever the order in which
/// they were added, and each at most once.
class ZARNIK_API ImageType {
public:
  /// Create an ImageType with no known dimensions.
  ImageType() = default;

#ifndef SWIG
  /// Create an ImageType with one dimension.
  ///
  /// \throws InvalidArgument If the value names no dimension.
  ImageType(ImageDimension dimension);
#endif

  /// Create an ImageType with a list of dimensions (C array style)
  ///
  /// \param dimensions The dimensions, in any order.
  /// \param count Number of dimensions.
  /// \throws InvalidArgument If a value names no dimension, or if there are more of them than dimensions.
  ImageType(ImageDimension const * dimensions, size_t count);

  /// Create an ImageType from an 64-bits integer
  ///
  /// \param value An integer that value() returned.
  /// \throws InvalidArgument If no image type has this value.
  explicit ImageType(uint64_t value);

  /// Check if a dimension is in the list.
  ///
  /// \param dimension The dimension to look for.
  /// \return True when it is; false also for a value that names no dimension.
  bool has(ImageDimension dimension) const;

  /// Add a dimension, at its canonical place.
  ///
  /// A dimension that is there already is left as it is.
  /// \param dimension The dimension to add.
  /// \throws InvalidArgument If the value names no dimension.
  void add(ImageDimension dimension);

  /// Remove a dimension.
  ///
  /// A dimension that is not there is left out as it is.
  /// \param dimension The dimension to remove.
  /// \throws InvalidArgument If the value names no dimension.
  void remove(ImageDimension dimension);

  /// Remove the nth dimension.
  ///
  /// \param index Position of the dimension.
  /// \throws InvalidArgument If there are not that many dimensions.
  void remove(size_t index);

  /// Return the number of dimensions.
  ///
  /// \return The number, from 0 to 5.
  size_t dimensionCount() const;

  /// Return the dimension at a position.
  ///
  /// e.g. IMAGE_SEQUENCE: 0 gives COLUMN, 1 ROW, 2 SEQUENCE.
  /// \param index Position of the dimension.
  /// \return One of the ImageDimension constants.
  /// \throws InvalidArgument If there are not that many dimensions.
  ImageDimension dimension(size_t index) const;

  /// Return the position of a dimension.
  ///
  /// \param dimension The dimension to look for.
  /// \return The index of its axis in the shape of an image of this type, from 0.
  /// \throws InvalidArgument If the dimension is not in the list.
  size_t indexDimension(ImageDimension dimension) const;

  /// Equivalent to add.
  ///
  /// \param dimension The dimension to add.
  /// \return A new type that has the dimension too.
  ImageType operator|(ImageDimension dimension) const;

  /// Check if two types have the same dimensions.
  ///
  /// \return True when they have.
  bool operator==(ImageType const & other) const { return value_ == other.value_; }

  /// Check if two types have different dimensions.
  ///
  /// \return True when they have.
  bool operator!=(ImageType const & other) const { return value_ != other.value_; }

  /// Return a string representation of the type: its dimensions in order.
  ///
  /// \return The names of the dimensions, as (COLUMN, ROW, SEQUENCE).
  std::string toString() const;

  /// Return internal 64-bit integer value
  ///
  /// \return One bit a dimension, COLUMN being the lowest; the constructor takes it back.
  uint64_t value() const { return value_; }

private:
#ifndef SWIG
  friend class ImageTypeId;
  struct Known {};
  constexpr ImageType(Known, uint64_t value) : value_(value) {}
#endif

  // One bit for each dimension: the canonical order is the order of the bits.
  uint64_t value_ = 0;
};

// Combine two dimensions into an image type.
ZARNIK_API ImageType operator|(ImageDimension left, ImageDimension right);

// Combine a dimension and an image type.
ZARNIK_API ImageType operator|(ImageDimension left, ImageType const & right);

/// The usual image types.
// Objects, not constants: the Python module hands out references to them, through which they can be changed.
class ZARNIK_API ImageTypeId {
public:
#ifndef SWIG
  // NOLINTBEGIN(readability-identifier-naming): constants to their users
  /// No known dimensions.
  static ImageType UNKNOWN;
  /// COLUMN and ROW.
  static ImageType IMAGE;
  /// COLUMN, ROW and SLICE.
  static ImageType VOLUME;
  /// COLUMN, ROW and CHANNEL.
  static ImageType MULTISPECTRAL_IMAGE;
  /// COLUMN, ROW, SLICE and CHANNEL.
  static ImageType MULTISPECTRAL_VOLUME;
  /// COLUMN, ROW and SEQUENCE.
  static ImageType IMAGE_SEQUENCE;
  /// COLUMN, ROW, SLICE and SEQUENCE.
  static ImageType VOLUME_SEQUENCE;
  /// COLUMN, ROW, CHANNEL and SEQUENCE.
  static ImageType MULTISPECTRAL_IMAGE_SEQUENCE;
  /// All five dimensions.
  static ImageType MULTISPECTRAL_VOLUME_SEQUENCE;
  // NOLINTEND(readability-identifier-naming)
#endif
};

} // namespace zarnik
