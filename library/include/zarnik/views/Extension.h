#pragma once

#include "zarnik/core/Export.h"

namespace zarnik {

/// An optional interface of a view, found by its identifier.
///
/// An extension stays usable after its view is gone.
class ZARNIK_API Extension {
public:
  /// Destroy the extension.
  virtual ~Extension();

#ifndef SWIG
  Extension(Extension const & other) = delete;
  Extension & operator=(Extension const & other) = delete;
#endif

protected:
  Extension() = default;
};

} // namespace zarnik
