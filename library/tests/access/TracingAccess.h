#pragma once

#include "zarnik/access/RandomAccess.h"
#include "zarnik/core/Error.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <numeric>
#include <utility>
#include <vector>

namespace zarnik::test {

/// Bytes that record who asks for which of them, of an accessor of which the library knows nothing.
class TracingAccess : public RandomAccess {
public:
  using Range = std::pair<size_t, size_t>; // offset and size

  explicit TracingAccess(std::vector<uint8_t> initial) : bytes(std::move(initial)) {}

  RandomAccessCapabilitySet capabilities() const override { return RandomAccessCapability::READ_WRITE; }
  size_t size() const override { return bytes.size(); }
  std::string toString() const override { return "traced bytes"; }

  size_t read(size_t offset, void * destination, size_t size) override {
    std::lock_guard const lock(mutex_);
    reads.emplace_back(offset, size);
    if (offset + size > failFrom)
      throw Error("the disk is on fire");
    return transfer(offset, size, [&](uint8_t * here, size_t count) { std::memcpy(destination, here, count); });
  }

  size_t write(size_t offset, void const * source, size_t size) override {
    std::lock_guard const lock(mutex_);
    writes.emplace_back(offset, size);
    return transfer(offset, size, [&](uint8_t * here, size_t count) { std::memcpy(here, source, count); });
  }

  void resize(size_t) override { throw NotImplemented("of fixed size"); }

  void readMany(std::span<ReadRequest const> requests) override {
    {
      std::lock_guard const lock(mutex_);
      lists.push_back(requests.size());
    }
    RandomAccess::readMany(requests);
  }

  static size_t total(std::vector<Range> const & ranges) {
    return std::accumulate(ranges.begin(), ranges.end(), size_t{0},
                           [](size_t sum, Range const & range) { return sum + range.second; });
  }

  void forget() {
    reads.clear();
    writes.clear();
    lists.clear();
  }

  std::vector<uint8_t> bytes;
  std::vector<Range> reads, writes;
  std::vector<size_t> lists; // how many requests came at once
  size_t failFrom = ~size_t{0};

private:
  template <typename Copy> size_t transfer(size_t offset, size_t size, Copy copy) {
    auto const count = offset >= bytes.size() ? 0 : std::min(size, bytes.size() - offset);
    if (count != 0)
      copy(bytes.data() + offset, count);
    return count;
  }

  std::mutex mutex_;
};

} // namespace zarnik::test
