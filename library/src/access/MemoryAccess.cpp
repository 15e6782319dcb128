#include "access/MemoryAccess.h"

#include "access/CheckCapability.h"
#include "core/Guarded.h"
#include "platform/GrowingMemory.h"
#include "zarnik/core/Error.h"
#include "zarnik/values/Checked.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <utility>

namespace zarnik {

namespace {

// What an accessor of no bytes points to.
uint8_t nothing = 0;

size_t fittingSize(size_t available, size_t offset, size_t size) {
  return offset >= available ? 0 : std::min(size, available - offset);
}

} // namespace

size_t MemoryAccess::read(size_t offset, void * destination, size_t size) {
  auto const count = fittingSize(size_, offset, size);
  if (count != 0)
    std::memcpy(destination, data_ + offset, count);
  return count;
}

size_t MemoryAccess::write(size_t offset, void const * source, size_t size) {
  auto const count = fittingSize(size_, offset, size);
  // The source may be a part of this very memory.
  if (count != 0)
    std::memmove(data_ + offset, source, count);
  return count;
}

void MemoryAccess::resize(size_t) { throw NotImplemented(message("{} cannot be resized", toString())); }

OwnedMemory::OwnedMemory(size_t size, Growth growth) : MemoryAccess(nullptr, size), capacity_(size), growth_(growth) {
  moveTo(size);
}

// Keeps what fits and clears the rest. Who holds the memory so far keeps it as it is.
void OwnedMemory::moveTo(size_t capacity) {
  auto block = guarded([&] { return std::make_shared<platform::GrowingMemory>(capacity, "an accessor"); });
  if (block_)
    std::memcpy(block->data(), data_, std::min(size_, capacity));
  block_ = std::move(block);
  data_ = reinterpret_cast<uint8_t *>(block_->data());
  capacity_ = capacity;
}

std::shared_ptr<void> OwnedMemory::sharedBuffer() { return {block_, block_->data()}; }

RandomAccessCapabilitySet OwnedMemory::capabilities() const {
  auto const fixed = RandomAccessCapability::READ_WRITE | RandomAccessCapability::MEMORY_ACCESS;
  return growth_ == Growth::NONE ? fixed : fixed | RandomAccessCapability::RESIZE;
}

std::string OwnedMemory::toString() const { return description("memory of {} bytes", size_); }

size_t OwnedMemory::write(size_t offset, void const * source, size_t size) {
  if (growth_ == Growth::NONE || size == 0)
    return MemoryAccess::write(offset, source, size);
  auto const end = checkedAdd(offset, size, "bytes of an accessor");
  if (end > size_) {
    // A part of this memory moves with it.
    auto const * const bytes = static_cast<uint8_t const *>(source);
    bool const isOwn = std::greater_equal<>{}(bytes, data_) && std::less<>{}(bytes, data_ + size_);
    auto const place = isOwn ? bytes - data_ : 0;
    if (end > capacity_)
      reserve(capacity_ > std::numeric_limits<size_t>::max() / 2 ? end : std::max(end, 2 * capacity_));
    if (offset > size_)
      std::memset(data_ + size_, 0, offset - size_);
    if (isOwn)
      source = data_ + place;
    std::memmove(data_ + offset, source, size);
    size_ = end;
    return size;
  }
  return MemoryAccess::write(offset, source, size);
}

void OwnedMemory::resize(size_t newSize) {
  if (growth_ == Growth::NONE)
    return MemoryAccess::resize(newSize);
  if (newSize > capacity_ || (newSize != size_ && isShared()))
    moveTo(newSize);
  else if (newSize > size_)
    std::memset(data_ + size_, 0, newSize - size_);
  size_ = newSize;
}

// Keeps the bytes; what follows them is not cleared. Large blocks change their addresses instead of being copied.
void OwnedMemory::reserve(size_t capacity) {
  if (isShared() || !block_->grow(capacity))
    return moveTo(capacity);
  data_ = reinterpret_cast<uint8_t *>(block_->data());
  capacity_ = capacity;
}

BorrowedMemory::BorrowedMemory(void * data, size_t size, Permission permission, std::shared_ptr<void> keeper)
    : MemoryAccess(data == nullptr ? &nothing : data, size), permission_(permission), keeper_(std::move(keeper)) {
  if (data == nullptr && size != 0)
    throw InvalidArgument(message("a buffer of {} bytes must not be null", size));
}

RandomAccessCapabilitySet BorrowedMemory::capabilities() const {
  return RandomAccessCapability::MEMORY_ACCESS |
         (permission_ == Permission::READ ? RandomAccessCapability::READ : RandomAccessCapability::READ_WRITE);
}

std::string BorrowedMemory::toString() const { return description("buffer of {} bytes", size_); }

size_t BorrowedMemory::write(size_t offset, void const * source, size_t size) {
  requireCapability(*this, RandomAccessCapability::WRITE, "be written");
  return MemoryAccess::write(offset, source, size);
}

std::shared_ptr<void> BorrowedMemory::sharedBuffer() {
  return keeper_ == nullptr ? nullptr : std::shared_ptr<void>(keeper_, data_);
}

} // namespace zarnik
