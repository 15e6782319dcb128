#pragma once

#include "zarnik/access/StreamAccess.h"
#include "zarnik/core/Export.h"

#include <memory>

namespace zarnik {

/// Tells which accessors are streams.
class ZARNIK_API StreamAccessProvider {
public:
  /// Checks if DataAccess is a StreamAccess.
  /// \param access The accessor to look at.
  /// \return True when it is one.
  static bool isStreamAccess(std::shared_ptr<DataAccess> access);

  /// Convert a DataAccess to a StreamAccess.
  ///
  /// If it does not support this interface, returns null.
  /// \param access The accessor to convert.
  /// \return The same accessor as a stream, or null.
  static std::shared_ptr<StreamAccess> toStream(std::shared_ptr<DataAccess> access);
};

} // namespace zarnik
