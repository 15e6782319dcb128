#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace zarnik::layout {

/// How the elements of two regions lie to each other.
enum class Overlap {
  NONE,   ///< No element shares a byte with one of the other region.
  SHARED, ///< Some may.
  SAME    ///< The regions are the same elements in the same order.
};

/// The loops over a pair of strided regions, in the order of the destination's memory, fastest first: without those of
/// one round, and with those that run on into each other in both regions made one. The destination is walked upwards;
/// the offsets lead from the elements with index 0 to those where the walk begins.
struct LoopNest {
  struct Loop {
    uint64_t count;
    int64_t sourceStride;
    int64_t destinationStride;
  };

  /// The highest rank, with room for the components of a vector element beside the dimensions of any image.
  static constexpr size_t CAPACITY = 129;

  /// \throws InvalidArgument If the ranks differ or are too high, or if a destination stride is 0.
  LoopNest(std::span<uint64_t const> size, std::span<uint64_t const> sourceStrides,
           std::span<uint64_t const> destinationStrides);

  Loop const & operator[](size_t n) const { return loops[n]; }

  /// Returns the loop that goes farthest in the destination, or the one of most rounds if that has fewer than `parts`.
  size_t loopToCut(size_t parts) const;

  /// Returns how regions of elements of these sizes, walked from these addresses, lie to each other.
  Overlap overlap(std::byte const * source, size_t sourceBytes, std::byte const * destination,
                  size_t destinationBytes) const;

  /// Turns a loop around on both sides.
  void reverse(size_t n);

  std::array<Loop, CAPACITY> loops; ///< Only the first `count` are set: clearing them all would outlast the planning.
  size_t count = 0;
  uint64_t elements = 0; ///< Product of all extents, 0 for an empty region.
  uint64_t sourceOffset = 0;
  uint64_t destinationOffset = 0;

private:
  void add(uint64_t extent, uint64_t sourceStride, uint64_t destinationStride, size_t axis);
  void merge();
};

} // namespace zarnik::layout
