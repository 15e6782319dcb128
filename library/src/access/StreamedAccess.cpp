#include "access/StreamedAccess.h"

#include "access/CheckCapability.h"
#include "core/Guarded.h"
#include "core/Waiting.h"
#include "zarnik/core/Error.h"

#include <algorithm>
#include <utility>

namespace zarnik {

StreamedAccess::StreamedAccess(std::shared_ptr<StreamAccess> stream) : stream_(std::move(stream)) {
  if (!stream_->support(StreamAccessCapability::SEEK))
    throw Error(message("{} cannot seek, which access at any offset needs", stream_->toString()));
}

RandomAccessCapabilitySet StreamedAccess::capabilities() const {
  RandomAccessCapabilitySet result;
  if (stream_->support(StreamAccessCapability::READ))
    result.add(RandomAccessCapability::READ);
  if (stream_->support(StreamAccessCapability::WRITE))
    result.add(RandomAccessCapability::WRITE);
  if (stream_->support(StreamAccessCapability::MEMORY_ACCESS))
    result.add(RandomAccessCapability::MEMORY_ACCESS);
  return result;
}

size_t StreamedAccess::size() const {
  Turn const turn(mutex_);
  auto const position = stream_->tell();
  stream_->seek(0, SeekOrigin::END);
  auto const size = stream_->tell();
  stream_->seek(static_cast<int64_t>(position), SeekOrigin::BEGIN);
  return size;
}

std::string StreamedAccess::toString() const { return description("bytes of {}", stream_->toString()); }

// To be called with the lock held; leaves the cursor at the end.
size_t StreamedAccess::available(size_t offset, size_t size) const {
  stream_->seek(0, SeekOrigin::END);
  auto const end = stream_->tell();
  return offset >= end ? 0 : std::min(size, end - offset);
}

void StreamedAccess::seek(size_t offset) { stream_->seek(static_cast<int64_t>(offset), SeekOrigin::BEGIN); }

size_t StreamedAccess::read(size_t offset, void * destination, size_t size) {
  requireCapability(*this, RandomAccessCapability::READ, "be read");
  Turn const turn(mutex_);
  auto const count = available(offset, size);
  if (count == 0)
    return 0;
  seek(offset);
  return stream_->read(destination, count);
}

size_t StreamedAccess::write(size_t offset, void const * source, size_t size) {
  requireCapability(*this, RandomAccessCapability::WRITE, "be written");
  Turn const turn(mutex_);
  auto const count = available(offset, size);
  if (count == 0)
    return 0;
  seek(offset);
  return stream_->write(source, count);
}

void StreamedAccess::resize(size_t) { throw NotImplemented(message("{} cannot be resized", toString())); }

} // namespace zarnik
