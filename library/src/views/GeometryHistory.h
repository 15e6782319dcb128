#pragma once

#include "zarnik/values/Indexer.h"

#include <algorithm>
#include <atomic>
#include <set>

namespace zarnik {

/// Where the samples of an image are that can be reshaped. Another thread may still look at the geometry of before a
/// reshape: what was shown stays, each different one once.
class GeometryHistory {
public:
  explicit GeometryHistory(Indexer first) : now_(&keep(std::move(first))) {}

  /// The geometry of now, by any thread.
  Indexer const & now() const { return *now_.load(std::memory_order_acquire); }

  /// Keeps a geometry that the image may get, by one thread at a time.
  Indexer const & keep(Indexer geometry) { return *all_.insert(std::move(geometry)).first; }

  /// Makes a geometry that was kept that of now.
  void change(Indexer const & kept) noexcept { now_.store(&kept, std::memory_order_release); }

private:
  struct Less {
    bool operator()(Indexer const & left, Indexer const & right) const {
      if (left.dtype() != right.dtype())
        return left.dtype().id() < right.dtype().id();
      return isLess(left.shape(), right.shape()) ||
             (left.shape() == right.shape() && isLess(left.byteStride(), right.byteStride()));
    }
    static bool isLess(VectorXu64 const & left, VectorXu64 const & right) {
      return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end());
    }
  };

  std::set<Indexer, Less> all_;
  std::atomic<Indexer const *> now_;
};

} // namespace zarnik
