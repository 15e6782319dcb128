#include "frames/RowBuffer.h"

#include "platform/GrowingMemory.h"
#include "zarnik/values/Checked.h"

#include <algorithm>
#include <atomic>
#include <cstring>

namespace zarnik {

namespace {

constexpr char const * OWNER = "a column of a table";

std::shared_ptr<platform::GrowingMemory> newBlock(uint64_t rowCount, size_t itemBytes) {
  return std::make_shared<platform::GrowingMemory>(checkedMultiply(rowCount, itemBytes, "bytes to allocate"), OWNER);
}

} // namespace

RowBuffer::RowBuffer(uint64_t rowCount, size_t itemBytes)
    : itemBytes_(itemBytes), rowCount_(rowCount), capacity_(rowCount), cleanFrom_(0),
      block_(newBlock(rowCount, itemBytes)), items_(block_->data()) {}

RowBuffer::RowBuffer(uint64_t rowCount, size_t itemBytes, std::shared_ptr<void const> items)
    : itemBytes_(itemBytes), rowCount_(rowCount), capacity_(rowCount), cleanFrom_(rowCount),
      borrowed_(std::move(items)), items_(static_cast<std::byte const *>(borrowed_.get())) {
  checkedMultiply(rowCount, itemBytes, "bytes of a column of a table");
}

std::byte * RowBuffer::changeable(uint64_t row) {
  if (borrowed_)
    moveTo(rowCount_);
  return block_->data() + row * itemBytes_;
}

std::shared_ptr<void> RowBuffer::share() const {
  if (borrowed_)
    return std::const_pointer_cast<void>(borrowed_);
  return {block_, block_->data()};
}

bool RowBuffer::isShared() const {
  if (borrowed_ || block_.use_count() > 1)
    return true;
  // Whoever held it before has done all that he did with it.
  std::atomic_thread_fence(std::memory_order_acquire);
  return false;
}

void RowBuffer::moveTo(uint64_t capacity) {
  auto block = newBlock(capacity, itemBytes_);
  auto const kept = std::min(rowCount_, capacity);
  std::memcpy(block->data(), items_, kept * itemBytes_);
  block_ = std::move(block);
  borrowed_.reset();
  items_ = block_->data();
  capacity_ = capacity;
  cleanFrom_ = kept;
}

bool RowBuffer::growInPlace(uint64_t capacity) {
  if (!block_->grow(checkedMultiply(capacity, itemBytes_, "bytes of a column of a table")))
    return false;
  items_ = block_->data();
  capacity_ = capacity;
  return true;
}

void RowBuffer::prepare(uint64_t rowCount, bool movesRows) {
  bool const shared = isShared();
  if (rowCount <= capacity_ && !borrowed_ && !(movesRows && shared))
    return;
  if (rowCount <= rowCount_) {
    // All rows are kept: the change itself takes some away.
    moveTo(rowCount_);
    return;
  }
  // Growth by half keeps the cost of an appended row constant; memory that is not touched costs nothing.
  auto const roomy = capacity_ <= UINT64_MAX / 2 ? std::max(rowCount, capacity_ + capacity_ / 2) : rowCount;
  if (!shared && growInPlace(roomy))
    return;
  moveTo(rowCount_ == 0 || rowCount / 2 > rowCount_ ? rowCount : roomy);
}

void RowBuffer::insert(uint64_t offset, uint64_t count) noexcept {
  auto * const first = block_->data() + offset * itemBytes_;
  if (offset != rowCount_)
    std::memmove(first + count * itemBytes_, first, (rowCount_ - offset) * itemBytes_);
  auto const dirty = std::max(rowCount_, cleanFrom_);
  if (dirty > offset)
    std::memset(first, 0, (std::min(offset + count, dirty) - offset) * itemBytes_);
  rowCount_ += count;
  cleanFrom_ = std::max(dirty, rowCount_);
}

void RowBuffer::remove(uint64_t offset, uint64_t count) noexcept {
  auto const behind = rowCount_ - offset - count;
  cleanFrom_ = std::max(cleanFrom_, rowCount_);
  if (behind != 0) {
    auto * const first = block_->data() + offset * itemBytes_;
    std::memmove(first, first + count * itemBytes_, behind * itemBytes_);
  }
  rowCount_ -= count;
}

} // namespace zarnik
