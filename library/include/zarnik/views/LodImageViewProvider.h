#pragma once

#include "zarnik/core/Export.h"

#include <memory>

namespace zarnik {

#ifndef SWIG
class LodImageView;
class View;
#endif

/// Recognises images at several levels of detail.
class ZARNIK_API LodImageViewProvider {
public:
  /// Checks if a given View is a LodImageView.
  /// \param view The view, may be null.
  /// \return True when it is; false for null.
  static bool isLodImage(std::shared_ptr<View> view);

  /// Extracts the LodImageView interface from a given generic view.
  ///
  /// If the given view is not an LodImageView, this method will return null.
  /// \param view The view, may be null.
  /// \return The same object.
  static std::shared_ptr<LodImageView> toLodImage(std::shared_ptr<View> view);
};

} // namespace zarnik
