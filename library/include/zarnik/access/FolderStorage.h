#pragma once

#include "zarnik/access/DataStorage.h"
#include "zarnik/core/Export.h"

#include <memory>
#include <string>

namespace zarnik {

/// The files in a folder and its sub-folders.
///
/// A resource is named by its path relative to the folder, such as `day1/scan.raw`. What would leave the folder is
/// refused: absolute paths, `..`, and links that lead out of it.
class ZARNIK_API FolderStorage final : public DataStorage, public std::enable_shared_from_this<FolderStorage> {
public:
  /// Return the storage of a folder, which is looked up when a resource is opened.
  /// \param folder path of the folder; a relative one counts from where the process is now
  /// \throws InvalidArgument if the path is empty or has a null character
  static std::shared_ptr<DataStorage> open(std::string const & folder);

  /// As the files' factories do: for reading a file must exist, for writing only it is made or emptied, for both it
  /// must exist.
  /// \throws InvalidArgument if the resource is not inside of the folder
  /// \throws Error if it cannot be opened
  std::shared_ptr<StreamAccess> openStreamAccess(std::string const & resourceId,
                                                 AccessCapabilities capabilities) override;
  std::shared_ptr<RandomAccess> openRandomAccess(std::string const & resourceId,
                                                 AccessCapabilities capabilities) override;

  /// \return The path of the folder.
  std::string source() const override;

private:
  explicit FolderStorage(std::string folder);

  std::string folder_;
};

} // namespace zarnik
