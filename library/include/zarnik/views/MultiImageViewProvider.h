#pragma once

#include "zarnik/core/Export.h"

#include <memory>

namespace zarnik {

#ifndef SWIG
class MultiImageView;
class View;
#endif

/// Recognises sets of images.
class ZARNIK_API MultiImageViewProvider {
public:
  /// Checks if a given View is a MultiImageView.
  /// \param view The view, may be null.
  /// \return True when it is; false for null.
  static bool isMultiImage(std::shared_ptr<View> view);

  /// Extracts the MultiImageView interface from a given generic view.
  ///
  /// If the given view is not an MultiImageView, this method will return null.
  /// \param view The view, may be null.
  /// \return The same object.
  static std::shared_ptr<MultiImageView> toMultiImage(std::shared_ptr<View> view);
};

} // namespace zarnik
