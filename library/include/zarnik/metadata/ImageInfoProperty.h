#pragma once

#include "zarnik/core/Export.h"
#ifndef SWIG
#include "zarnik/metadata/ImageInterpretation.h"
#include "zarnik/values/DataType.h"
#include "zarnik/values/ImageType.h"
#include "zarnik/values/Vector.h"
#endif

#include <cstddef>
#include <string>

namespace zarnik {

/// What the axes and the values of an image mean.
///
/// The properties depend on each other and on the image, and are set one after another. So every value is taken as it
/// is, and ImageProperties::isCompatibleWith checks the whole.
class ZARNIK_API ImageInfoProperty {
public:
  /// Create an information from all its properties.
  /// \param axes           The meaning of the image's axes.
  /// \param interpretation The meaning of the channels.
  /// \param alpha          True if the last channel is an alpha channel.
  /// \param bitDepth       The bits that are really used in each value, e.g. 12 in a 16-bit type.
  /// \param valueRange     The smallest and the largest value that the values may take.
  ImageInfoProperty(ImageType const & axes, ImageInterpretation interpretation, bool alpha, size_t bitDepth,
                    Vector2d const & valueRange);

  /// Create an information with the bit depth and the value range of a data type.
  /// \param axes           The meaning of the image's axes.
  /// \param interpretation The meaning of the channels.
  /// \param alpha          True if the last channel is an alpha channel.
  /// \param dtype          The type whose bit depth and standard range are taken; (0, 0) for types without a range.
  ImageInfoProperty(ImageType const & axes, ImageInterpretation interpretation, bool alpha, DataType dtype);

  /// Create an information with all properties defaulted for a data type.
  ///
  /// Axes and interpretation are unknown and there is no alpha channel.
  /// \param dtype The type whose bit depth and standard range are taken; (0, 0) for types without a range.
  explicit ImageInfoProperty(DataType dtype);

  /// Create an information with known axes and all other properties defaulted for a data type.
  ///
  /// The interpretation is unknown and there is no alpha channel.
  /// \param axes  The meaning of the image's axes.
  /// \param dtype The type whose bit depth and standard range are taken; (0, 0) for types without a range.
  ImageInfoProperty(ImageType const & axes, DataType dtype);

  /// Copy an information.
  ImageInfoProperty(ImageInfoProperty const & other);

  /// Take over an information.
  ImageInfoProperty(ImageInfoProperty && other) noexcept;

#ifndef SWIG
  ImageInfoProperty & operator=(ImageInfoProperty const & other) = default;
#endif

  /// Destroy the information.
  ~ImageInfoProperty();

  /// Return the number of channels that a pixel has in an interpretation, without alpha.
  /// \param interpretation The interpretation in question.
  /// \return 1 for grayscale, label and binary images, 4 for CMYK, 3 for the other colour models; 0 if the
  ///         interpretation leaves the number open (UNKNOWN and MULTISPECTRAL).
  /// \throws Error if the value is no interpretation.
  static size_t channelCount(ImageInterpretation interpretation);

  /// Return the meaning of the image's axes.
  /// \return The dimensions in canonical order, one for each axis of the image; none if they are not known.
  ImageType const & axesInterpretation() const;

  /// Return the meaning of the channels.
  /// \return One of the ImageInterpretation constants.
  ImageInterpretation interpretation() const;

  /// Return whether the last channel is an alpha channel.
  /// \return True if it is.
  bool alpha() const;

  /// Return the bits that are really used in each value.
  /// \return The bits of one value, e.g. 12 in a 16-bit type.
  size_t bitDepth() const;

  /// Return the smallest and the largest value that the values may take.
  /// \return The range, the smallest value first.
  Vector2d const & valueRange() const;

  /// Change the meaning of the image's axes.
  /// \param axes The new meaning, with one dimension for each axis of the image, or unknown.
  void setAxesInterpretation(ImageType const & axes);

  /// Change the meaning of the channels.
  /// \param interpretation The new meaning.
  void setInterpretation(ImageInterpretation interpretation);

  /// Change whether the last channel is an alpha channel.
  /// \param alpha True if it is.
  void setAlpha(bool alpha);

  /// Change the bits that are really used in each value; the value range stays as it is.
  /// \param bitDepth The new number, from 1 to the bit depth of the image's type.
  void setBitDepth(size_t bitDepth);

  /// Change the range of values.
  /// \param valueRange The smallest and the largest value that the values may take.
  void setValueRange(Vector2d const & valueRange);

  /// Check if all properties are equal.
  /// \return True when they are.
  bool operator==(ImageInfoProperty const & other) const;

  /// Return a string description of the information.
  /// \return All properties with their names, in one line.
  std::string toString() const;

private:
  ImageType axes_;
  ImageInterpretation interpretation_;
  bool alpha_;
  size_t bitDepth_;
  Vector2d valueRange_;
};

} // namespace zarnik
