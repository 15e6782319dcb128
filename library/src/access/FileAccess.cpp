#include "access/FileAccess.h"

#include "access/CheckCapability.h"
#include "core/Guarded.h"
#include "zarnik/access/FolderStorage.h"
#include "zarnik/core/Error.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <limits>
#include <utility>

namespace zarnik {

using platform::File;

FilePlace placeOf(std::string const & path) {
  std::filesystem::path const whole(path);
  auto const folder = whole.has_parent_path() ? whole.parent_path() : std::filesystem::path(".");
  return {FolderStorage::open(folder.string()), whole.filename().string()};
}

FileAccess::FileAccess(File file, File::Mode mode, FilePlace place)
    : file_(std::move(file)), pieces_(file_.descriptor()), mode_(mode), place_(std::move(place)) {}

RandomAccessCapabilitySet FileAccess::capabilities() const {
  switch (mode_) {
  case File::Mode::WRITE:
    return RandomAccessCapability::WRITE_RESIZE;
  case File::Mode::READ_WRITE:
    return RandomAccessCapability::READ_WRITE | RandomAccessCapability::RESIZE;
  case File::Mode::READ:
    break;
  }
  return RandomAccessCapability::READ;
}

std::string FileAccess::resourceId() const { return description("{}", place_.resourceId); }

std::string FileAccess::toString() const {
  auto const purpose = mode_ == File::Mode::READ    ? "reading"
                       : mode_ == File::Mode::WRITE ? "writing"
                                                    : "reading and writing";
  return description("file \"{}\" (opened for {})", file_.path(), purpose);
}

size_t FileAccess::read(size_t offset, void * destination, size_t size) {
  if (mode_ == File::Mode::WRITE)
    requireCapability(*this, RandomAccessCapability::READ, "be read");
  return file_.readAt(offset, destination, size);
}

void FileAccess::readMany(std::span<ReadRequest const> requests) {
  if (mode_ == File::Mode::WRITE)
    requireCapability(*this, RandomAccessCapability::READ, "be read");
  guarded(
      [&] { pieces_.read(requests, [this](std::span<ReadRequest const> others) { RandomAccess::readMany(others); }); });
}

std::optional<platform::PieceReader::Look> FileAccess::look(uint64_t offset, uint64_t size) {
  return mode_ == File::Mode::WRITE ? std::nullopt : pieces_.look(offset, size);
}

size_t FileAccess::write(size_t offset, void const * source, size_t size) {
  if (mode_ == File::Mode::READ)
    requireCapability(*this, RandomAccessCapability::WRITE, "be written");
  file_.writeAt(offset, source, size);
  return size;
}

void FileAccess::resize(size_t newSize) {
  requireCapability(*this, RandomAccessCapability::RESIZE, "be resized");
  file_.resize(newSize);
}

MappedFile::MappedFile(File file, FilePlace place) : file_(std::move(file)), place_(std::move(place)) {
  auto const size = file_.size();
  if (size > std::numeric_limits<size_t>::max())
    throw Error(message("cannot map \"{}\" into memory: {} bytes are too many", file_.path(), size));
  mapping_ = std::make_shared<platform::Mapping>(file_, static_cast<size_t>(size));
}

RandomAccessCapabilitySet MappedFile::capabilities() const {
  return RandomAccessCapability::READ_WRITE | RandomAccessCapability::MEMORY_ACCESS;
}

std::string MappedFile::resourceId() const { return description("{}", place_.resourceId); }

std::string MappedFile::toString() const { return description("mapped file \"{}\"", file_.path()); }

// How many of the bytes the file has now: touching others would end the process.
size_t MappedFile::present(size_t offset, size_t size) const {
  if (size == 0 || offset >= mapping_->size())
    return 0;
  auto const available = std::min<uint64_t>(mapping_->size(), file_.size());
  return offset >= available ? 0 : static_cast<size_t>(std::min<uint64_t>(size, available - offset));
}

size_t MappedFile::read(size_t offset, void * destination, size_t size) {
  auto const count = present(offset, size);
  if (count != 0)
    std::memcpy(destination, static_cast<uint8_t const *>(mapping_->data()) + offset, count);
  return count;
}

size_t MappedFile::write(size_t offset, void const * source, size_t size) {
  auto const count = present(offset, size);
  if (count != 0)
    std::memmove(static_cast<uint8_t *>(mapping_->data()) + offset, source, count);
  return count;
}

void MappedFile::resize(size_t) { throw NotImplemented(message("{} cannot be resized", toString())); }

} // namespace zarnik
