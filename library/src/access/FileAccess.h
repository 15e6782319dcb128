#pragma once

#include "platform/File.h"
#include "platform/PieceReader.h"
#include "zarnik/access/RandomAccess.h"

#include <memory>
#include <optional>
#include <string>

namespace zarnik {

/// Where a file was found: the folder, and its name in there.
struct FilePlace {
  std::shared_ptr<DataStorage> storage;
  std::string resourceId;
};

/// The place of a file given by its path alone.
FilePlace placeOf(std::string const & path);

/// A file, read and written at offsets by the system, without a cursor, and read through a mapping where that is
/// quicker, see PieceReader.
class FileAccess final : public RandomAccess {
public:
  FileAccess(platform::File file, platform::File::Mode mode, FilePlace place);

  std::shared_ptr<DataStorage> storage() const override { return place_.storage; }
  std::string resourceId() const override;
  RandomAccessCapabilitySet capabilities() const override;
  size_t size() const override { return file_.size(); }
  std::string toString() const override;
  size_t read(size_t offset, void * destination, size_t size) override;
  void readMany(std::span<ReadRequest const> requests) override;
  /// Bytes where the system keeps them, see PieceReader; nothing where they are to be read.
  std::optional<platform::PieceReader::Look> look(uint64_t offset, uint64_t size);
  size_t write(size_t offset, void const * source, size_t size) override;
  void resize(size_t newSize) override;
  void reserve(size_t offset, size_t size) const noexcept { file_.reserve(offset, size); }
  void beginStoring(size_t offset, size_t size) const noexcept { file_.beginStoring(offset, size); }

private:
  platform::File file_;
  platform::PieceReader pieces_;
  platform::File::Mode mode_;
  FilePlace place_;
};

/// A file mapped into memory, with the size that it had then. Before bytes are copied the file is asked whether it
/// still has them.
class MappedFile final : public RandomAccess {
public:
  MappedFile(platform::File file, FilePlace place);

  std::shared_ptr<DataStorage> storage() const override { return place_.storage; }
  std::string resourceId() const override;
  RandomAccessCapabilitySet capabilities() const override;
  size_t size() const override { return mapping_->size(); }
  std::string toString() const override;
  size_t read(size_t offset, void * destination, size_t size) override;
  size_t write(size_t offset, void const * source, size_t size) override;
  void resize(size_t newSize) override;
  void * buffer() override { return mapping_->data(); }
  std::shared_ptr<void> sharedBuffer() override { return {mapping_, mapping_->data()}; }

private:
  size_t present(size_t offset, size_t size) const;

  platform::File file_;
  std::shared_ptr<platform::Mapping> mapping_;
  FilePlace place_;
};

} // namespace zarnik
