#pragma once

#include "zarnik/access/RandomAccess.h"
#include "zarnik/access/StreamAccess.h"

#include <memory>
#include <mutex>

namespace zarnik {

/// Bytes addressed by offset over a stream that can seek, of the size that the stream has. One transfer at a time; the
/// stream's cursor is left where the last one ended.
class StreamedAccess final : public RandomAccess {
public:
  /// \throws Error if the stream cannot seek
  explicit StreamedAccess(std::shared_ptr<StreamAccess> stream);

  std::shared_ptr<StreamAccess> const & stream() const { return stream_; }

  std::shared_ptr<DataStorage> storage() const override { return stream_->storage(); }
  std::string resourceId() const override { return stream_->resourceId(); }
  RandomAccessCapabilitySet capabilities() const override;
  size_t size() const override;
  std::string toString() const override;
  size_t read(size_t offset, void * destination, size_t size) override;
  size_t write(size_t offset, void const * source, size_t size) override;
  void resize(size_t newSize) override;
  void * buffer() override { return stream_->buffer(); }

private:
  size_t available(size_t offset, size_t size) const;
  void seek(size_t offset);

  std::shared_ptr<StreamAccess> stream_;
  mutable std::mutex mutex_;
};

} // namespace zarnik
