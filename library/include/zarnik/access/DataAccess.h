#pragma once

#include "zarnik/core/Export.h"
#include "zarnik/core/Query.h"

#include <memory>
#include <string>

namespace zarnik {

class DataStorage;

/// Base of everything that gives access to bytes: streams and random accessors.
///
/// Accessors are always held by shared pointers.
class ZARNIK_API DataAccess {
public:
  /// Release the accessor and what it holds.
  virtual ~DataAccess();

#ifndef SWIG
  DataAccess(DataAccess const & other) = delete;
  DataAccess & operator=(DataAccess const & other) = delete;
#endif

  /// Return the storage that this accessor was opened from.
  /// \return The storage, null when it belongs to none, as memory does.
  virtual std::shared_ptr<DataStorage> storage() ZARNIK_QUERY;

  /// Return the identifier of the resource within its storage.
  /// \return The identifier, empty when there is none.
  virtual std::string resourceId() ZARNIK_QUERY;

protected:
  DataAccess() = default;
};

} // namespace zarnik
