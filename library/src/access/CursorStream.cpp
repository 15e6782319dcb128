#include "access/CursorStream.h"

#include "access/CheckCapability.h"
#include "access/FileAccess.h"
#include "access/Innermost.h"
#include "access/MemoryAccess.h"
#include "core/Guarded.h"
#include "zarnik/core/Error.h"

#include <limits>

namespace zarnik {

StreamAccessCapabilitySet CursorStream::capabilities() const {
  StreamAccessCapabilitySet result(StreamAccessCapability::SEEK);
  if (bytes_->support(RandomAccessCapability::READ))
    result.add(StreamAccessCapability::READ);
  if (bytes_->support(RandomAccessCapability::WRITE))
    result.add(StreamAccessCapability::WRITE);
  if (bytes_->support(RandomAccessCapability::MEMORY_ACCESS))
    result.add(StreamAccessCapability::MEMORY_ACCESS);
  return result;
}

std::string CursorStream::toString() const { return description("stream over {}", bytes_->toString()); }

uint8_t CursorStream::peek() {
  uint8_t byte = 0;
  if (bytes_->read(position_, &byte, 1) != 1)
    throw Error(message("there is no byte to peek at: the cursor is at {}, the end of {}", position_, toString()));
  return byte;
}

void CursorStream::seek(int64_t offset, SeekOrigin origin) {
  size_t base = 0;
  switch (origin) {
  case SeekOrigin::BEGIN:
    break;
  case SeekOrigin::CURRENT:
    base = position_;
    break;
  case SeekOrigin::END:
    base = bytes_->size();
    break;
  default:
    throw InvalidArgument(
        message("seek origin {} is unknown, allowed are 1 (BEGIN), 2 (CURRENT) and 3 (END)", static_cast<int>(origin)));
  }
  auto const distance = offset < 0 ? ~static_cast<uint64_t>(offset) + 1 : static_cast<uint64_t>(offset);
  if (offset < 0 && distance > base)
    throw InvalidArgument(message("cannot seek {} bytes before the beginning of the stream", distance - base));
  if (offset > 0 && distance > std::numeric_limits<size_t>::max() - base)
    throw InvalidArgument(message("cannot seek to {} + {}: positions have 64 bits", base, distance));
  auto const position = offset < 0 ? base - distance : base + distance;
  if (position > base && !bytes_->support(RandomAccessCapability::RESIZE)) {
    if (auto const size = bytes_->size(); position > size)
      throw InvalidArgument(
          message("cannot seek to {}: the stream is of fixed size, allowed are 0 to {}", position, size));
  }
  position_ = position;
  metEnd_ = false;
}

size_t CursorStream::read(void * destination, size_t size) {
  auto const count = bytes_->read(position_, destination, size);
  position_ += count;
  metEnd_ = metEnd_ || count < size;
  return count;
}

size_t CursorStream::write(void const * source, size_t size) {
  auto const count = bytes_->write(position_, source, size);
  position_ += count;
  return count;
}

bool CursorStream::isMemory() const { return exactly<OwnedMemory>(*bytes_) || exactly<BorrowedMemory>(*bytes_); }

bool CursorStream::isLocal() const {
  return isMemory() || exactly<FileAccess>(*bytes_) || exactly<MappedFile>(*bytes_);
}

void CursorStream::reserve(size_t size) const noexcept {
  if (auto const * const file = exactly<FileAccess>(*bytes_))
    file->reserve(position_, size);
}

void CursorStream::beginStoring(size_t size) const noexcept {
  if (auto const * const file = exactly<FileAccess>(*bytes_))
    file->beginStoring(position_ - size, size);
}

std::byte * CursorStream::ahead(size_t size) {
  if (!isMemory() || !bytes_->support(RandomAccessCapability::WRITE))
    return nullptr;
  auto const all = bytes_->size();
  if (position_ > all || size > all - position_)
    return nullptr;
  return static_cast<std::byte *>(bytes_->buffer()) + position_;
}

} // namespace zarnik
