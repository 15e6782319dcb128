#pragma once

#include "zarnik/core/Export.h"

#include <memory>

namespace zarnik {

#ifndef SWIG
class ImageView;
class View;
#endif

/// Recognises image views, and restricts what can be done with them.
class ZARNIK_API ImageViewProvider {
public:
  /// Checks if a given View is an ImageView.
  /// \param view The view, may be null.
  /// \return True when it is; false for null.
  static bool isImage(std::shared_ptr<View> view);

  /// Extracts the ImageView interface from a given generic view.
  ///
  /// If the given view is not an ImageView, this method will return null.
  /// \param view The view, may be null.
  /// \return The same object.
  static std::shared_ptr<ImageView> toImage(std::shared_ptr<View> view);

  /// Remove all capacities except READ to an ImageView.
  ///
  /// The result shows the given image as it is at any time; no data is copied. Memory of the given image stays
  /// readable through the C++ interface, but MEMORY_ACCESS is not offered because it includes changing the memory.
  /// \param image The image to protect.
  /// \return An image that refuses every change.
  /// \throws InvalidArgument if the image is null.
  static std::shared_ptr<ImageView> toReadOnly(std::shared_ptr<ImageView> image);

  /// Remove all capacities except WRITE to an ImageView.
  ///
  /// What is written goes to the given image. Shape, data type, properties and metadata can still be asked for.
  /// \param image The image to write to.
  /// \return An image that refuses reading, reshaping and memory access.
  /// \throws InvalidArgument if the image is null.
  static std::shared_ptr<ImageView> toWriteOnly(std::shared_ptr<ImageView> image);
};

} // namespace zarnik
