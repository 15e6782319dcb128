#pragma once

#include "zarnik/core/Export.h"
#include "zarnik/core/Query.h"

#include <cstddef>
#include <memory>

namespace zarnik {

#ifndef SWIG
class Extension;
class ViewOriginExtension;
#endif

/// Base of everything that gives access to data without being tied to where the data is.
///
/// Views are always held by shared pointers.
class ZARNIK_API View {
public:
  /// Destroy the view.
  virtual ~View();

#ifndef SWIG
  View(View const & other) = delete;
  View & operator=(View const & other) = delete;
#endif

  /// Return the extension of the given identifier.
  /// \param id The EXTENSION_ID of an extension class.
  /// \return The extension, null when the view does not offer it.
  virtual std::shared_ptr<Extension> extension(size_t id) ZARNIK_QUERY;

  /// Shortcut to retrieve ViewOrigin extension.
  /// \return The extension, null when the view does not offer it.
  std::shared_ptr<ViewOriginExtension> viewOrigin() ZARNIK_QUERY;

protected:
  View() = default;
};

} // namespace zarnik
