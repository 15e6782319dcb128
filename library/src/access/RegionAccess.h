#pragma once

#include "zarnik/access/RandomAccess.h"

#include <cstddef>
#include <memory>

namespace zarnik {

/// A run of bytes of another accessor, of fixed size.
class RegionAccess final : public RandomAccess {
public:
  /// \throws InvalidArgument when the run leaves the source
  RegionAccess(std::shared_ptr<RandomAccess> source, size_t offset, size_t size);

  std::shared_ptr<RandomAccess> const & source() const { return source_; }
  size_t offset() const { return offset_; }

  RandomAccessCapabilitySet capabilities() const override;
  size_t size() const override { return size_; }
  std::string toString() const override;
  size_t read(size_t offset, void * destination, size_t size) override;
  size_t write(size_t offset, void const * source, size_t size) override;
  void resize(size_t newSize) override;
  void readMany(std::span<ReadRequest const> requests) override;
  void * buffer() override;
  std::shared_ptr<void> sharedBuffer() override;

private:
  std::shared_ptr<RandomAccess> source_;
  size_t offset_;
  size_t size_;
};

} // namespace zarnik
