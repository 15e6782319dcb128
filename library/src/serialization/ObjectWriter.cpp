#include "serialization/ObjectWriter.h"

#include "layout/CacheSize.h"
#include "serialization/HashedBlocks.h"
#include "zarnik/core/Error.h"
#include "zarnik/layout/Threads.h"

#include <algorithm>
#include <fmt/format.h>
#include <functional>
#include <future>
#include <typeinfo>
#include <utility>

namespace zarnik::format {
namespace {

// A thread begins in less time than this takes to hash.
constexpr uint64_t LEAST_BACKGROUND_BYTES = 8 << 20;
// A disk that is given so much at once has hardly to wait between.
constexpr uint64_t LEAST_STORED_BYTES = 16 << 20;
// A file that is told of so much beforehand saves more than the call takes.
constexpr uint64_t LEAST_RESERVED_BYTES = 16 << 20;

} // namespace

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
  if (cursor_ != nullptr && length >= LEAST_RESERVED_BYTES)
    cursor_->reserve(length);
}

void ObjectWriter::write(void const * bytes, uint64_t size) {
  if (size > left_)
    throw Error(fmt::format("{} bytes are too many for a section that takes {} more", size, left_));
  auto const * rest = static_cast<std::byte const *>(bytes);
  while (size != 0) {
    auto part = putBlocks(rest, size);
    if (part == 0)
      part = putPart(rest, size);
    left_ -= part;
    rest += part;
    size -= part;
  }
}

uint64_t ObjectWriter::putBlocks(std::byte const * bytes, uint64_t size) {
  HashedBlocks const blocks{options_.blockBytes, size / options_.blockBytes};
  if (!isHashed() || inBlock_ != 0 || blocks.count == 0)
    return 0;
  std::vector<uint64_t> hashes;
  if (auto * const place = streamingPlace(bytes, blocks.bytes())) {
    hashes = blocks.copy(place, bytes);
    cursor_->seek(static_cast<int64_t>(blocks.bytes()), SeekOrigin::CURRENT);
    position_ += blocks.bytes();
  } else if (size >= LEAST_BACKGROUND_BYTES && threadCount() != 1) {
    // If no thread can be had, they are hashed when they are asked for.
    auto hashing = std::async(std::launch::async | std::launch::deferred, [=] { return blocks.hash(bytes); });
    put(bytes, blocks.bytes());
    hashes = hashing.get();
  } else {
    return 0;
  }
  hashes_.insert(hashes_.end(), hashes.begin(), hashes.end());
  return blocks.bytes();
}

uint64_t ObjectWriter::putPart(std::byte const * bytes, uint64_t size) {
  if (!isHashed()) {
    put(bytes, size);
    return size;
  }
  // Hashed while it is in the cache, and not before it is written: a stream that takes nothing may be tried again.
  auto const part = std::min(size, options_.blockBytes - inBlock_);
  put(bytes, part);
  hash_.add(bytes, part);
  inBlock_ += part;
  if (inBlock_ == options_.blockBytes || part == left_)
    endBlock();
  return part;
}

void ObjectWriter::beginStoring() {
  if (cursor_ == nullptr || position_ - stored_ < LEAST_STORED_BYTES)
    return;
  cursor_->beginStoring(position_ - stored_);
  stored_ = position_;
}

std::byte * ObjectWriter::streamingPlace(std::byte const * bytes, uint64_t size) const {
  if (cursor_ == nullptr || length_ < layout::streamingThresholdBytes())
    return nullptr;
  auto * const place = cursor_->ahead(size);
  std::less_equal<> const isBefore;
  return place != nullptr && (isBefore(bytes + size, place) || isBefore(place + size, bytes)) ? place : nullptr;
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
