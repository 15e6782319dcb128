#pragma once

#include "zarnik/core/Export.h"
#include "zarnik/views/CommonAncestorStatus.h"

#include <memory>

namespace zarnik {

#ifndef SWIG
class View;
#endif

/// Which views were made from which, by what they tell through their ViewOriginExtension.
class ZARNIK_API DependencyGraph {
public:
  /// Tells whether two views derive from a common ancestor, so that writing into one may change the other.
  ///
  /// A view is an ancestor of its own. Each ancestor is visited once, however many ways lead to it.
  /// \param view1 A view.
  /// \param view2 Another view, or the same one.
  /// \return One of the CommonAncestorStatus constants; UNDETERMINED when no common ancestor is found, but one of the
  /// ancestors does not tell what it was made from.
  /// \throws InvalidArgument if a view is null.
  static CommonAncestorStatus hasCommonAncestor(std::shared_ptr<View> view1, std::shared_ptr<View> view2);
};

} // namespace zarnik
