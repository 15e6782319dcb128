#pragma once

#include "http/HttpResource.h"

#include <memory>
#include <vector>

namespace zarnik::http {

class RangeQueue;

/// Reads a resource in order by one request for all that follows. Between two reads the request stays open: the
/// system's buffers are what is read ahead. It is used by one thread at a time.
class SequentialReader final : public ByteSink {
public:
  /// \param offset  within the resource
  SequentialReader(HttpResource & resource, uint64_t offset);
  ~SequentialReader() override;
  SequentialReader(SequentialReader const &) = delete;
  SequentialReader & operator=(SequentialReader const &) = delete;

  /// Whether the byte at an offset is the one that comes next. Not in a process that was forked: the request is its
  /// parent's.
  bool goesOnAt(uint64_t offset) const;

  /// Reads bytes within the resource. \throws Error if they cannot be had; the reader is of no use any more then
  void read(uint8_t * destination, size_t size);

  void accept(uint64_t offset, uint8_t const * bytes, size_t size) override;
  // The end of the answer is not waited for: libcurl may not notice it when the last bytes came during a pause.
  bool full() const override { return wanted_ == 0; }

private:
  uint64_t position_;
  uint8_t * destination_ = nullptr;
  size_t wanted_ = 0;
  std::vector<uint8_t> rest_; // what came beyond what was wanted
  size_t restBegin_ = 0;
  long process_;
  std::unique_ptr<RangeQueue> queue_; // goes first: it may still bring bytes
};

} // namespace zarnik::http
