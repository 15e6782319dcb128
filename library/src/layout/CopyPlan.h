#pragma once

#include "layout/LoopNest.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace zarnik {

namespace layout {
struct CopyBlock;
}

/// A strided copy between two buffers, prepared once and run any number of times.
///
/// The plan drops dimensions of extent 1, turns dimensions around until the destination is written upwards, orders
/// the loops by destination stride, merges the dimensions that run on into each other in both buffers and picks the
/// kernel for what is left: one memcpy for a region that is contiguous on both sides, a cache blocked transpose when
/// the two buffers run along different axes. Making a plan allocates nothing and takes well under a microsecond.
///
/// A plan is a value that refers to no buffer: copies of it may run on any number of threads at a time.
class CopyPlan {
public:
  /// The highest number of dimensions of a plan.
  static constexpr size_t MAXIMUM_RANK = layout::LoopNest::CAPACITY;

  /// Prepares the copy of `size[0]` x `size[1]` x ... elements.
  /// \param size Elements along each dimension, in any order of dimensions; any 0 copies nothing.
  /// \param sourceStrides Bytes from one element to its neighbour along each dimension of the source. Modulo 2^64, so
  /// that a negative stride is its two's complement. 0 repeats the same element.
  /// \param destinationStrides The same for the destination, where 0 is not allowed along an extent above 1.
  /// \param elementBytes Bytes of one element, at least 1.
  /// \throws InvalidArgument If the three ranks differ or are above `MAXIMUM_RANK`, if the element has no bytes, if a
  /// destination stride is 0 or if the region has more than 2^63 bytes.
  CopyPlan(std::span<uint64_t const> size, std::span<uint64_t const> sourceStrides,
           std::span<uint64_t const> destinationStrides, size_t elementBytes);

  /// Copies the elements. When the two regions share memory, the result is as if the whole source had been read
  /// before the first element was written; unless they are the same elements, or one contiguous run each, this takes
  /// a temporary copy of the region.
  /// \param source The first element (index 0 along every dimension) of the source region.
  /// \param destination The first element of the destination region, whose elements must not overlap each other.
  /// \throws Error If the temporary copy for regions that share memory cannot be allocated.
  void run(void const * source, void * destination) const;

  /// Returns the number of bytes that one run writes.
  uint64_t byteCount() const { return byteCount_; }

  /// Returns the number of loops that are left around the contiguous run, 0 for a copy that is one memcpy.
  size_t loopCount() const { return nest_.count; }

  /// Returns the bytes that are contiguous on both sides, the element bytes at least.
  size_t runBytes() const { return elementBytes_; }

private:
  using Kernel = void (*)(layout::CopyBlock const &, std::byte const *, std::byte *);

  void orderLoops();
  void chooseKernel();
  layout::CopyBlock innerBlock() const;
  void runThroughTemporary(std::byte const * source, std::byte * destination) const;
  void runParallel(std::byte const * source, std::byte * destination) const;
  void runSerial(std::byte const * source, std::byte * destination) const;

  layout::LoopNest nest_;
  size_t elementBytes_;
  uint64_t byteCount_ = 0;
  Kernel kernel_ = nullptr;
  bool transposed_ = false; // loop 1 is the source's fastest
  bool streaming_ = false;
};

/// Copies a strided region once; the same as making a `CopyPlan` and running it.
inline void copyStrided(std::span<uint64_t const> size, std::span<uint64_t const> sourceStrides,
                        std::span<uint64_t const> destinationStrides, size_t elementBytes, void const * source,
                        void * destination) {
  CopyPlan(size, sourceStrides, destinationStrides, elementBytes).run(source, destination);
}

} // namespace zarnik
