#pragma once

#include "zarnik/access/RandomAccess.h"
#include "zarnik/core/Export.h"

#include <memory>

namespace zarnik {

/// Tells which accessors address their bytes by offset.
class ZARNIK_API RandomAccessProvider {
public:
  /// Checks if DataAccess supports RandomAccess interface.
  /// \param access The accessor to look at.
  /// \return True when it does.
  static bool isRandomAccess(std::shared_ptr<DataAccess> access);

  /// Convert a DataAccess to a RandomAccess.
  ///
  /// If it does not support this interface, returns null.
  /// \param access The accessor to convert.
  /// \return The same accessor as a RandomAccess, or null.
  static std::shared_ptr<RandomAccess> toRandom(std::shared_ptr<DataAccess> access);
};

} // namespace zarnik
