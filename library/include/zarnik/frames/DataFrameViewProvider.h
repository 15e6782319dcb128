#pragma once

#include "zarnik/core/Export.h"

#include <memory>

namespace zarnik {

#ifndef SWIG
class DataFrameView;
class View;
#endif

/// Recognises tables among views.
class ZARNIK_API DataFrameViewProvider {
public:
  /// Checks if a given View is a DataFrameView.
  /// \param view The view, may be null.
  /// \return True when it is; false for null.
  static bool isDataFrame(std::shared_ptr<View> view);

  /// Extracts the DataFrameView interface from a given generic view.
  ///
  /// If the given view is not a DataFrameView, this method will return null.
  /// \param view The view, may be null.
  /// \return The same object.
  static std::shared_ptr<DataFrameView> toDataFrame(std::shared_ptr<View> view);
};

} // namespace zarnik
