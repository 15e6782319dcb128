#include "frames/RowBuffer.h"

#include "zarnik/values/Checked.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#ifdef __linux__
#include <sys/mman.h>
#endif

namespace zarnik {

namespace {

constexpr char const * OWNER = "a column of a table";
// Large pages are fetched in less time than it takes to fill them, small ones are not.
constexpr size_t LARGE_PAGE_BYTES = 2 << 20;
constexpr uint64_t MAPPED_FROM_BYTES = 2 * LARGE_PAGE_BYTES;

/// 0 if they are too many.
size_t wholePages(uint64_t bytes) {
  return bytes > SIZE_MAX - LARGE_PAGE_BYTES
             ? 0
             : static_cast<size_t>((bytes + LARGE_PAGE_BYTES - 1) / LARGE_PAGE_BYTES) * LARGE_PAGE_BYTES;
}

} // namespace

/// Zeros at first. Large ones are asked of the system, which lets them grow, by zeros, without copying.
struct RowBuffer::Block {
  Block(uint64_t rowCount, size_t itemBytes) {
    auto const bytes = checkedMultiply(rowCount, itemBytes, "bytes to allocate");
    if (bytes < MAPPED_FROM_BYTES || !map(wholePages(bytes)))
      memory = static_cast<std::byte *>(detail::allocateZeroed(rowCount, itemBytes, OWNER));
  }
  Block(Block const &) = delete;
  Block & operator=(Block const &) = delete;

#ifdef __linux__
  ~Block() {
    if (mappedBytes != 0)
      ::munmap(memory, mappedBytes);
    else
      detail::freeZeroed(memory);
  }
  bool map(size_t bytes) {
    auto * const mapped = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return keep(mapped, bytes);
  }
  /// \return whether it could
  bool grow(uint64_t bytes) {
    auto const whole = wholePages(bytes);
    return mappedBytes != 0 && whole != 0 && keep(::mremap(memory, mappedBytes, whole, MREMAP_MAYMOVE), whole);
  }
  bool keep(void * mapped, size_t bytes) {
    if (mapped == MAP_FAILED)
      return false;
    ::madvise(mapped, bytes, MADV_HUGEPAGE);
    memory = static_cast<std::byte *>(mapped);
    mappedBytes = bytes;
    return true;
  }

  size_t mappedBytes = 0;
#else
  ~Block() { detail::freeZeroed(memory); }
  bool map(size_t) { return false; }
  bool grow(uint64_t) { return false; }
#endif

  std::byte * memory = nullptr;
};

RowBuffer::RowBuffer(uint64_t rowCount, size_t itemBytes)
    : itemBytes_(itemBytes), rowCount_(rowCount), capacity_(rowCount), cleanFrom_(0),
      block_(std::make_shared<Block>(rowCount, itemBytes)), items_(block_->memory) {}

RowBuffer::RowBuffer(uint64_t rowCount, size_t itemBytes, std::shared_ptr<void const> items)
    : itemBytes_(itemBytes), rowCount_(rowCount), capacity_(rowCount), cleanFrom_(rowCount),
      borrowed_(std::move(items)), items_(static_cast<std::byte const *>(borrowed_.get())) {
  checkedMultiply(rowCount, itemBytes, "bytes of a column of a table");
}

std::byte * RowBuffer::changeable(uint64_t row) {
  if (borrowed_)
    moveTo(rowCount_);
  return block_->memory + row * itemBytes_;
}

std::shared_ptr<void> RowBuffer::share() const {
  if (borrowed_)
    return std::const_pointer_cast<void>(borrowed_);
  return {block_, block_->memory};
}

bool RowBuffer::isShared() const {
  if (borrowed_ || block_.use_count() > 1)
    return true;
  // Whoever held it before has done all that he did with it.
  std::atomic_thread_fence(std::memory_order_acquire);
  return false;
}

void RowBuffer::moveTo(uint64_t capacity) {
  auto block = std::make_shared<Block>(capacity, itemBytes_);
  auto const kept = std::min(rowCount_, capacity);
  std::memcpy(block->memory, items_, kept * itemBytes_);
  block_ = std::move(block);
  borrowed_.reset();
  items_ = block_->memory;
  capacity_ = capacity;
  cleanFrom_ = kept;
}

bool RowBuffer::growInPlace(uint64_t capacity) {
  if (!block_->grow(checkedMultiply(capacity, itemBytes_, "bytes of a column of a table")))
    return false;
  items_ = block_->memory;
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
  auto * const first = block_->memory + offset * itemBytes_;
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
    auto * const first = block_->memory + offset * itemBytes_;
    std::memmove(first, first + count * itemBytes_, behind * itemBytes_);
  }
  rowCount_ -= count;
}

} // namespace zarnik
