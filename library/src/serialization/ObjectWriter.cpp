#include "serialization/ObjectWriter.h"

#include "layout/CacheSize.h"
#include "serialization/BackgroundHash.h"
#include "zarnik/core/Error.h"

#include <algorithm>
#include <fmt/format.h>
#include <functional>
#include <typeinfo>
#include <utility>

namespace zarnik::format {

ObjectWriter::ObjectWriter(std::shared_ptr<StreamAccess> stream, Kind kind, DataType dataType,
                           WriteOptions const & options)
    : stream_(std::move(stream)), options_(options) {
  if (!stream_)
    throw InvalidArgument("there is no stream to write to");
  if (!stream_->support(StreamAccessCapability::WRITE))
    throw InvalidArgument(fmt::format("{} cannot be written to", stream_->toString()));
  StreamAccess & target = *stream_;
  cursor_ = typeid(target) == typeid(CursorStream) ? static_cast<CursorStream *>(&target) : nullptr;
  ObjectHeader header{MAGIC,
                      MAJOR_VERSION,
                      MINOR_VERSION,
                      static_cast<uint32_t>(kind),
                      dataType.id(),
                      isHashed() ? uint64_t{OBJECT_HASHED} : 0,
                      options_.blockBytes,
                      0};
  header.hash = hashOf(&header, offsetof(ObjectHeader, hash));
  put(&header, sizeof header);
}

void ObjectWriter::put(void const * bytes, uint64_t size) {
  auto const * rest = static_cast<std::byte const *>(bytes);
  while (size != 0) {
    auto const written = stream_->write(rest, size);
    if (written == 0 || written > size)
      throw Error(fmt::format("{} takes no more bytes: {} were written of an object, {} more are to follow",
                              stream_->toString(), position_, size));
    rest += written;
    size -= written;
    position_ += written;
  }
}

void ObjectWriter::writeSection(Tag tag, std::span<std::byte const> content) {
  beginSection(tag, content.size());
  write(content.data(), content.size());
  endSection();
}

void ObjectWriter::beginSection(Tag tag, uint64_t length) {
  bool const isOptional = tag == PADDING;
  SectionHeader header{SYNC, tag, isOptional ? uint32_t{SECTION_OPTIONAL} : 0, 0, length, 0};
  header.hash = hashOf(&header, offsetof(SectionHeader, hash));
  hashes_.reserve(blockCount(length));
  put(&header, sizeof header);
  length_ = left_ = length;
}

void ObjectWriter::write(void const * bytes, uint64_t size) {
  if (size > left_)
    throw Error(fmt::format("{} bytes are too many for a section that takes {} more", size, left_));
  auto const * rest = static_cast<std::byte const *>(bytes);
  if (!isHashed()) {
    put(bytes, size);
    left_ -= size;
    return;
  }
  // A block is hashed while it is in the cache, or on another thread, and not before it is written: a stream that takes
  // nothing may be tried again.
  while (size != 0) {
    auto part = std::min(size, options_.blockBytes - inBlock_);
    auto const whole = inBlock_ == 0 ? backgroundBytes(size, options_.blockBytes) : 0;
    bool const isStreamed = putStreaming(rest, part);
    if (!isStreamed && whole != 0) {
      part = whole;
      auto const blocks = part / options_.blockBytes;
      BackgroundHash hashing(rest, options_.blockBytes, blocks, blocks);
      put(rest, part);
      hashing.take(hashes_);
    } else {
      if (!isStreamed) {
        put(rest, part);
        hash_.add(rest, part);
      }
      inBlock_ += part;
      if (inBlock_ == options_.blockBytes || part == left_)
        endBlock();
    }
    left_ -= part;
    rest += part;
    size -= part;
  }
}

bool ObjectWriter::putStreaming(std::byte const * bytes, uint64_t size) {
  if (cursor_ == nullptr || length_ < layout::streamingThresholdBytes())
    return false;
  auto * const place = cursor_->ahead(size);
  std::less_equal<> const isBefore;
  if (place == nullptr || !(isBefore(bytes + size, place) || isBefore(place + size, bytes)))
    return false;
  hash_.addStreaming(place, bytes, size);
  cursor_->seek(static_cast<int64_t>(size), SeekOrigin::CURRENT);
  position_ += size;
  return true;
}

void ObjectWriter::endBlock() {
  hashes_.push_back(hash_.value());
  hash_.restart();
  inBlock_ = 0;
}

void ObjectWriter::endSection() {
  if (left_ != 0)
    throw Error(fmt::format("a section lacks {} bytes of its content", left_));
  put(hashes_.data(), hashes_.size() * sizeof(uint64_t));
  hashes_.clear();
}

void ObjectWriter::align() {
  auto const contentBehind = [&](uint64_t padding) {
    return position_ + sizeof(SectionHeader) + padding + blockCount(padding) * sizeof(uint64_t) + sizeof(SectionHeader);
  };
  uint64_t padding = 0;
  while (contentBehind(padding) % options_.alignment != 0)
    ++padding;
  writeSection(PADDING, std::vector<std::byte>(padding));
}

} // namespace zarnik::format
