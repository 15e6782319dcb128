#include "zarnik/access/FolderStorage.h"

#include "access/CursorStream.h"
#include "access/FileAccess.h"
#include "core/Guarded.h"
#include "platform/File.h"
#include "zarnik/core/Error.h"

#include <filesystem>
#include <fmt/format.h>
#include <utility>

namespace zarnik {

namespace {

platform::File::Mode modeOf(AccessCapabilities capabilities) {
  switch (capabilities) {
  case AccessCapabilities::READ_ONLY:
    return platform::File::Mode::READ;
  case AccessCapabilities::WRITE_ONLY:
    return platform::File::Mode::WRITE;
  case AccessCapabilities::READ_WRITE:
    return platform::File::Mode::READ_WRITE;
  }
  throw InvalidArgument(
      fmt::format("access capabilities {} are unknown, allowed are 1 (READ_ONLY), 2 (WRITE_ONLY) and 3 (READ_WRITE)",
                  static_cast<int>(capabilities)));
}

void checkResource(std::string const & resourceId) {
  auto const refuse = [&](char const * reason) {
    throw InvalidArgument(fmt::format("resource \"{}\" {}", resourceId.substr(0, resourceId.find('\0')), reason));
  };
  if (resourceId.empty())
    refuse("must not be empty");
  if (resourceId.find('\0') != std::string::npos)
    refuse("must not have a null character");
  std::filesystem::path const path(resourceId);
  if (path.is_absolute() || path.has_root_path())
    refuse("must be a path relative to its folder");
  for (auto const & part : path)
    if (part == "..")
      refuse("must not leave its folder");
}

} // namespace

FolderStorage::FolderStorage(std::string folder) : folder_(std::move(folder)) {}

std::shared_ptr<DataStorage> FolderStorage::open(std::string const & folder) {
  return guarded([&]() -> std::shared_ptr<DataStorage> {
    if (folder.empty() || folder.find('\0') != std::string::npos)
      throw InvalidArgument("the path of a folder must not be empty nor have a null character");
    std::error_code error;
    auto const absolute = std::filesystem::absolute(folder, error);
    if (error)
      throw Error(fmt::format("cannot find the folder \"{}\": {}", folder, error.message()));
    return std::shared_ptr<FolderStorage>(new FolderStorage(absolute.lexically_normal().string()));
  });
}

std::shared_ptr<RandomAccess> FolderStorage::openRandomAccess(std::string const & resourceId,
                                                              AccessCapabilities capabilities) {
  return guarded([&]() -> std::shared_ptr<RandomAccess> {
    checkResource(resourceId);
    auto const mode = modeOf(capabilities);
    return std::make_shared<FileAccess>(platform::File::openBeneath(folder_, resourceId, mode), mode,
                                        FilePlace{shared_from_this(), resourceId});
  });
}

std::shared_ptr<StreamAccess> FolderStorage::openStreamAccess(std::string const & resourceId,
                                                              AccessCapabilities capabilities) {
  return guarded([&]() -> std::shared_ptr<StreamAccess> {
    return std::make_shared<CursorStream>(openRandomAccess(resourceId, capabilities));
  });
}

std::string FolderStorage::source() const { return description("{}", folder_); }

} // namespace zarnik
