#pragma once

#include "access/CursorStream.h"
#include "serialization/Format.h"
#include "serialization/Hash.h"
#include "zarnik/access/StreamAccess.h"
#include "zarnik/values/DataType.h"

#include <memory>
#include <span>
#include <vector>

namespace zarnik::format {

/// What a stored object may be given or spared.
struct WriteOptions {
  uint64_t blockBytes = BLOCK_BYTES;
  bool isHashed = true;
  uint64_t alignment = ALIGNMENT;
};

/// Writes one object to a stream, from the first byte to the last.
class ObjectWriter {
public:
  /// Writes the object's header.
  /// \throws InvalidArgument if there is no stream, or it cannot be written
  ObjectWriter(std::shared_ptr<StreamAccess> stream, Kind kind, DataType dataType, WriteOptions const & options = {});

  /// Writes a section whose content is at hand.
  void writeSection(Tag tag, std::span<std::byte const> content);

  /// Begins a section, whose content follows in any number of parts.
  void beginSection(Tag tag, uint64_t length);
  void write(void const * bytes, uint64_t size);
  /// \throws Error if the parts do not make up the length told
  void endSection();

  /// Makes the content of the next section begin at a multiple of the alignment.
  void align();

  /// Tells the system, from time to time, to begin to write what it has of the object to the disk: who waits for all of
  /// it in the end waits less.
  void beginStoring();

  /// Ends the object.
  void finish() { beginSection(END, 0); }

  /// Bytes of content that the open section still needs.
  uint64_t left() const { return left_; }

  /// Bytes of the object that the stream has taken.
  uint64_t position() const { return position_; }

private:
  void put(void const * bytes, uint64_t size);
  /// Writes whole blocks and hashes them on several threads, or in one go around the caches.
  /// \return bytes written, 0 if these blocks are to be written by parts
  uint64_t putBlocks(std::byte const * bytes, uint64_t size);
  /// \return bytes written, of one block at most where they are hashed
  uint64_t putPart(std::byte const * bytes, uint64_t size);
  /// Where so many bytes belong in memory, if the section is too large for the caches and the stream is memory.
  std::byte * streamingPlace(std::byte const * bytes, uint64_t size) const;
  void endBlock();
  uint64_t blockCount(uint64_t length) const {
    return isHashed() ? (length + options_.blockBytes - 1) / options_.blockBytes : 0;
  }
  bool isHashed() const { return options_.isHashed; }

  std::shared_ptr<StreamAccess> stream_;
  CursorStream * cursor_ = nullptr; ///< the stream, if it is one of the library's cursors
  WriteOptions options_;
  uint64_t position_ = 0; ///< bytes written of the object
  uint64_t stored_ = 0;   ///< of these, what the disk was told to take
  uint64_t length_ = 0;
  uint64_t left_ = 0;
  uint64_t inBlock_ = 0; ///< bytes of the open block that its running hash has
  RunningHash hash_;
  std::vector<uint64_t> hashes_;
};

} // namespace zarnik::format
