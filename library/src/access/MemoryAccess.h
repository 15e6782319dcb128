#pragma once

#include "zarnik/access/RandomAccess.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace zarnik {

namespace platform {
class GrowingMemory;
}

/// Bytes in memory.
class MemoryAccess : public RandomAccess {
public:
  size_t size() const override { return size_; }
  size_t read(size_t offset, void * destination, size_t size) override;
  size_t write(size_t offset, void const * source, size_t size) override;
  void resize(size_t newSize) override;
  void * buffer() override { return data_; }

protected:
  MemoryAccess(void * data, size_t size) : data_(static_cast<uint8_t *>(data)), size_(size) {}

  uint8_t * data_; // never null
  size_t size_;
};

/// Memory of the accessor's own.
class OwnedMemory final : public MemoryAccess {
public:
  enum class Growth { NONE, ANY };

  /// \throws Error if the memory cannot be had
  OwnedMemory(size_t size, Growth growth);

  RandomAccessCapabilitySet capabilities() const override;
  std::string toString() const override;
  size_t write(size_t offset, void const * source, size_t size) override;
  void resize(size_t newSize) override;
  std::shared_ptr<void> sharedBuffer() override;

private:
  bool isShared() const { return block_.use_count() > 1; }
  void moveTo(size_t capacity);
  void reserve(size_t capacity);

  std::shared_ptr<platform::GrowingMemory> block_;
  size_t capacity_;
  Growth growth_;
};

/// Memory of somebody else.
class BorrowedMemory final : public MemoryAccess {
public:
  enum class Permission { READ, READ_WRITE };

  /// \param keeper keeps the memory; null when the caller does
  BorrowedMemory(void * data, size_t size, Permission permission, std::shared_ptr<void> keeper);

  RandomAccessCapabilitySet capabilities() const override;
  std::string toString() const override;
  size_t write(size_t offset, void const * source, size_t size) override;
  std::shared_ptr<void> sharedBuffer() override;

private:
  Permission permission_;
  std::shared_ptr<void> keeper_;
};

} // namespace zarnik
