#pragma once

#include "zarnik/access/AccessCapabilities.h"
#include "zarnik/core/Export.h"
#include "zarnik/core/Query.h"

#include <memory>
#include <string>

namespace zarnik {

class RandomAccess;
class StreamAccess;

/// A source of named resources, such as a folder of files.
///
/// Storages are always held by shared pointers, and may be used from several threads at once.
class ZARNIK_API DataStorage {
public:
  /// Release the storage. Accessors that were opened from it live on.
  virtual ~DataStorage();

#ifndef SWIG
  DataStorage(DataStorage const & other) = delete;
  DataStorage & operator=(DataStorage const & other) = delete;
#endif

  /// Open a stream over a resource.
  /// \param resourceId   The identifier of the resource within this storage.
  /// \param capabilities What the stream is for.
  /// \return The stream.
  /// \throws Error if the storage can not access to the resource, or does not support the capabilities
  virtual std::shared_ptr<StreamAccess> openStreamAccess(std::string const & resourceId,
                                                         AccessCapabilities capabilities) = 0;

  /// Open a random accessor over a resource.
  /// \param resourceId   The identifier of the resource within this storage.
  /// \param capabilities What the accessor is for.
  /// \return The accessor.
  /// \throws Error if the storage can not access to the resource, or does not support the capabilities
  virtual std::shared_ptr<RandomAccess> openRandomAccess(std::string const & resourceId,
                                                         AccessCapabilities capabilities) = 0;

  /// Return a string that describe the storage's source of data.
  /// \return The path of the folder, for example.
  virtual std::string source() ZARNIK_QUERY = 0;

protected:
  DataStorage() = default;
};

} // namespace zarnik
