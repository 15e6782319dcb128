#pragma once

#include "zarnik/access/RandomAccess.h"
#include "zarnik/access/StreamAccess.h"

#include <cstddef>
#include <memory>

namespace zarnik {

/// A cursor over an accessor of bytes: the rules of seeking, reading and writing in order, whatever holds the bytes.
class CursorStream final : public StreamAccess {
public:
  explicit CursorStream(std::shared_ptr<RandomAccess> bytes) : bytes_(std::move(bytes)) {}

  std::shared_ptr<RandomAccess> const & bytes() const { return bytes_; }

  std::shared_ptr<DataStorage> storage() const override { return bytes_->storage(); }
  std::string resourceId() const override { return bytes_->resourceId(); }
  StreamAccessCapabilitySet capabilities() const override;
  bool eof() const override { return metEnd_; }
  bool fail() const override { return false; }
  std::string toString() const override;
  uint8_t peek() override;
  void flush() override {} // what was written has reached the bytes already
  size_t tell() override { return position_; }
  void seek(int64_t offset, SeekOrigin origin) override;
  size_t read(void * destination, size_t size) override;
  size_t write(void const * source, size_t size) override;
  void * buffer() override { return bytes_->buffer(); }

  /// Where the next so many bytes are, if all of them lie in the library's own kind of memory and can be written there;
  /// else null. Who writes them goes on with `seek`.
  std::byte * ahead(size_t size);

  /// Whether the bytes are in memory or in a file of this machine: several threads read them faster than one.
  bool isLocal() const;

  /// Asks the system for the room of the next so many bytes, if they are to be written to a file.
  void reserve(size_t size) const noexcept;

  /// Asks the system to begin to write the last so many bytes to the disk, if they are in a file.
  void beginStoring(size_t size) const noexcept;

private:
  bool isMemory() const;

  std::shared_ptr<RandomAccess> bytes_;
  size_t position_ = 0;
  bool metEnd_ = false;
};

} // namespace zarnik
