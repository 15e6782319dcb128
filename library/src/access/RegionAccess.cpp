#include "access/RegionAccess.h"

#include "core/Guarded.h"
#include "zarnik/core/Error.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace zarnik {

namespace {

size_t fittingSize(size_t available, size_t offset, size_t size) {
  return offset >= available ? 0 : std::min(size, available - offset);
}

} // namespace

RegionAccess::RegionAccess(std::shared_ptr<RandomAccess> source, size_t offset, size_t size)
    : source_(std::move(source)), offset_(offset), size_(size) {
  if (auto const available = source_->size(); offset > available || size > available - offset)
    throw InvalidArgument(
        message("region of {} bytes at offset {} exceeds the {} bytes there are", size, offset, available));
  // Regions of regions are regions of the source.
  if (auto const region = std::dynamic_pointer_cast<RegionAccess>(source_)) {
    offset_ += region->offset_;
    source_ = region->source_;
  }
}

RandomAccessCapabilitySet RegionAccess::capabilities() const {
  auto result = source_->capabilities();
  result.remove(RandomAccessCapability::RESIZE);
  // The memory ends before the region does when the source was made smaller.
  if (source_->size() < offset_ + size_)
    result.remove(RandomAccessCapability::MEMORY_ACCESS);
  return result;
}

std::string RegionAccess::toString() const {
  return description("{} bytes from offset {} of {}", size_, offset_, source_->toString());
}

size_t RegionAccess::read(size_t offset, void * destination, size_t size) {
  return source_->read(std::min(offset, size_) + offset_, destination, fittingSize(size_, offset, size));
}

size_t RegionAccess::write(size_t offset, void const * source, size_t size) {
  return source_->write(std::min(offset, size_) + offset_, source, fittingSize(size_, offset, size));
}

void RegionAccess::resize(size_t) { throw NotImplemented(message("{} cannot be resized", toString())); }

void RegionAccess::readMany(std::span<ReadRequest const> requests) {
  auto shifted = guarded([&] { return std::vector<ReadRequest>(requests.begin(), requests.end()); });
  for (auto & request : shifted) {
    if (fittingSize(size_, request.offset, request.size) != request.size)
      throw Error(message("{} bytes at offset {} exceed {}", request.size, request.offset, toString()));
    request.offset = std::min(request.offset, size_) + offset_;
  }
  source_->readMany(shifted);
}

void * RegionAccess::buffer() {
  if (!support(RandomAccessCapability::MEMORY_ACCESS))
    return nullptr;
  auto * const memory = static_cast<uint8_t *>(source_->buffer());
  return memory == nullptr ? nullptr : memory + offset_;
}

std::shared_ptr<void> RegionAccess::sharedBuffer() {
  if (!support(RandomAccessCapability::MEMORY_ACCESS))
    return nullptr;
  auto const memory = source_->sharedBuffer();
  return memory == nullptr ? nullptr : std::shared_ptr<void>(memory, static_cast<uint8_t *>(memory.get()) + offset_);
}

} // namespace zarnik
