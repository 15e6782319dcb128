#pragma once

#include "zarnik/core/Export.h"

#include <memory>

namespace zarnik {

#ifndef SWIG
class Extension;
class ParallelAccessExtension;
class TilingInfoExtension;
class ViewOriginExtension;
#endif

/// Finds out what a generic extension is.
class ZARNIK_API ExtensionProvider {
public:
  /// Extracts the TilingInfoExtension interface from a given generic extension.
  /// \param extension The extension, may be null.
  /// \return The same object, null if it is of another kind.
  static std::shared_ptr<TilingInfoExtension> toTilingInfo(std::shared_ptr<Extension> extension);

  /// Extracts the ParallelAccessExtension interface from a given generic extension.
  /// \param extension The extension, may be null.
  /// \return The same object, null if it is of another kind.
  static std::shared_ptr<ParallelAccessExtension> toParallelAccess(std::shared_ptr<Extension> extension);

  /// Extracts the ViewOriginExtension interface from a given generic extension.
  /// \param extension The extension, may be null.
  /// \return The same object, null if it is of another kind.
  static std::shared_ptr<ViewOriginExtension> toViewOrigin(std::shared_ptr<Extension> extension);
};

} // namespace zarnik
