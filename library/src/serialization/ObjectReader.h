#pragma once

#include "access/CursorStream.h"
#include "serialization/Format.h"
#include "serialization/Hash.h"
#include "zarnik/access/StreamAccess.h"
#include "zarnik/values/DataType.h"

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

namespace zarnik::format {

/// Reads one object from a stream, which needs no more than READ. Nothing that the bytes say is believed before it was
/// checked: memory is taken as bytes arrive.
class ObjectReader {
public:
  /// Reads the object's header.
  /// \param what the object wanted, for messages, such as "an ImageView"
  /// \throws InvalidArgument if there is no stream, or it cannot be read
  /// \throws Error if no object of this kind and of a version that can be read begins here
  ObjectReader(std::shared_ptr<StreamAccess> stream, Kind kind, char const * what);

  DataType dataType() const { return dataType_; }

  /// Goes on to the next section, over those that may be skipped.
  /// \throws Error if it is none of the wanted ones, or its header is damaged
  Tag next(std::initializer_list<Tag> wanted);

  /// Bytes of content of the section, and how many of them were not read yet.
  uint64_t length() const { return length_; }
  uint64_t left() const { return left_; }

  /// Reads a part of the section's content.
  void read(void * destination, uint64_t size);
  /// Ends the section whose content was read.
  /// \throws Error if there is more of it, or it is damaged
  void endSection();

  /// Reads a section whole and ends it.
  std::vector<std::byte> readSection();

  /// Reads the end of the object.
  void finish() { next({END}); }

  /// Bytes read of the object: where the section's content is, right after `next`.
  uint64_t position() const { return position_; }

  /// An error at the place that was just read, in the words of the caller.
  [[noreturn]] void fail(std::string const & reason) const;

private:
  void get(void * destination, uint64_t size, char const * part);
  /// Reads whole blocks and hashes them on several threads, where that can be done.
  /// \return bytes read, 0 if these blocks are to be read by parts
  uint64_t getBlocks(std::byte * destination, uint64_t size);
  /// \return bytes read, of one block at most where they are hashed
  uint64_t getPart(std::byte * destination, uint64_t size);
  uint64_t blockCount() const { return isHashed_ ? (length_ + blockBytes_ - 1) / blockBytes_ : 0; }
  void skipSection();

  std::shared_ptr<StreamAccess> stream_;
  CursorStream * cursor_ = nullptr; ///< the stream, if it is one of the library's cursors
  char const * what_;
  DataType dataType_;
  bool isHashed_ = true;
  uint64_t blockBytes_ = 0;
  uint64_t position_ = 0;
  uint32_t tag_ = 0;
  uint64_t length_ = 0;
  uint64_t left_ = 0;
  uint64_t inBlock_ = 0;
  RunningHash hash_;
  std::vector<uint64_t> hashes_;
};

/// A section's name as text.
std::string tagText(uint32_t tag);

} // namespace zarnik::format
