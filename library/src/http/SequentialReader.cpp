#include "http/SequentialReader.h"

#include "http/RangeQueue.h"

#include <algorithm>
#include <cstring>

namespace zarnik::http {

SequentialReader::SequentialReader(HttpResource & resource, uint64_t offset)
    : position_(offset), process_(processNumber()), queue_(std::make_unique<RangeQueue>(resource, *this)) {
  queue_->add({offset, resource.size() - offset});
}

SequentialReader::~SequentialReader() {
  if (processNumber() != process_)
    (void)queue_.release();
}

bool SequentialReader::goesOnAt(uint64_t offset) const { return offset == position_ && processNumber() == process_; }

void SequentialReader::read(uint8_t * destination, size_t size) {
  auto const kept = std::min(size, rest_.size() - restBegin_);
  std::copy_n(rest_.data() + restBegin_, kept, destination);
  restBegin_ += kept;
  if (kept < size) {
    rest_.clear();
    restBegin_ = 0;
    destination_ = destination + kept;
    wanted_ = size - kept;
    queue_->run();
  }
  position_ += size;
}

void SequentialReader::accept(uint64_t, uint8_t const * bytes, size_t size) {
  auto const count = std::min(size, wanted_);
  std::memcpy(destination_, bytes, count);
  destination_ += count;
  wanted_ -= count;
  rest_.insert(rest_.end(), bytes + count, bytes + size);
}

} // namespace zarnik::http
