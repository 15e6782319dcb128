#pragma once

#include "zarnik/core/Export.h"

#include <cstddef>
#include <memory>

#ifndef SWIG
#include "zarnik/values/ImageType.h"
#endif

namespace zarnik {

#ifndef SWIG
class ImageView;
class MultiImageView;
#endif

/// Makes sets of images: from images, or by splitting one image.
///
/// Nothing is copied. Frames show the image that they are split from; what is written to a frame goes there.
class ZARNIK_API MultiImageViewFactory {
public:
  /// Create an empty set.
  ///
  /// Capabilities are READ and WRITE.
  /// \return The new set, without frames and metadata.
  static std::shared_ptr<MultiImageView> create();

  /// Create a set of images, which are shared, not copied.
  ///
  /// Capabilities are READ and WRITE.
  /// \param images The images, in the order of the frames.
  /// \return The new set, without metadata.
  /// \throws InvalidArgument if an image is null.
  static std::shared_ptr<MultiImageView> createFromList(std::shared_ptr<ImageView> const * images, size_t count);

  /// Split an image along one of its dimensions, which the frames do not have any more.
  ///
  /// The image XYZ split along Y, of index 1, gives as many frames XZ as there are rows. Frames are made when they are
  /// asked for. The capability is READ; frames can be written when the image can be.
  /// \param image          The image to split.
  /// \param dimensionIndex Index of the dimension, below the dimension count of the image, which is at least 2.
  /// \return A set with as many frames as the image has elements along the dimension.
  /// \throws InvalidArgument if the image is null, or has no such dimension.
  /// \throws Error if the properties of the image are not valid.
  static std::shared_ptr<MultiImageView> unstack(std::shared_ptr<ImageView> image, size_t dimensionIndex);

  /// Split an image along one of its dimensions, which the frames do not have any more.
  ///
  /// The image XYZ split along Y gives as many frames XZ as there are rows. Frames are made when they are asked for.
  /// The capability is READ; frames can be written when the image can be.
  /// \param image     The image to split, whose dimensions have a meaning.
  /// \param dimension The dimension to split.
  /// \return A set with as many frames as the image has elements along the dimension.
  /// \throws InvalidArgument if the image is null.
  /// \throws Error if the dimension is absent, or the properties of the image are not valid.
  static std::shared_ptr<MultiImageView> unstack(std::shared_ptr<ImageView> image, ImageDimension dimension);

  /// Split an image into its channels.
  ///
  /// An RGB image gives three frames. Channels are the components of vector samples; an image of scalar samples is
  /// split along its dimension CHANNEL, and is the only frame when it has none. The capability is READ; frames can be
  /// written when the image can be.
  /// \param image The image to split.
  /// \return A set of one view a channel.
  /// \throws InvalidArgument if the image is null.
  /// \throws Error if the properties of the image are not valid.
  static std::shared_ptr<MultiImageView> deinterlace(std::shared_ptr<ImageView> image);
};

} // namespace zarnik
