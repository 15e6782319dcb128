#pragma once

#include "layout/LoopNest.h"
#include "zarnik/layout/ScalarType.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace zarnik {

namespace layout {
struct SpreadRow;
/// Converts a row to dense values, with a linear map in between.
using SpreadKernel = void (*)(LinearMap, SpreadRow const &, std::byte * destination);
} // namespace layout

/// A strided conversion between two buffers, prepared once and run any number of times: `CopyPlan` for elements that
/// change their type. See `RegionConverter` for how a value changes its type.
class ConversionPlan {
public:
  /// Prepares the conversion of `size[0]` x `size[1]` x ... values. The arguments are those of `CopyPlan`.
  /// \throws InvalidArgument If the ranks differ or are too high, or if a destination stride is 0.
  ConversionPlan(std::span<uint64_t const> size, std::span<uint64_t const> sourceStrides,
                 std::span<uint64_t const> destinationStrides, ScalarType sourceType, ScalarType destinationType,
                 std::optional<LinearMap> map = std::nullopt);

  /// Converts the values. When the two regions share memory, the result is as if the whole source had been read before
  /// the first value was written; unless they are the same elements, this takes a temporary copy of the result.
  /// \param source The value with index 0 along every dimension of the source region.
  /// \param destination The same of the destination region, whose elements must not overlap each other.
  /// \throws Error If the temporary copy for regions that share memory cannot be allocated.
  void run(void const * source, void * destination) const;

private:
  void runParallel(std::byte const * source, std::byte * destination) const;
  void runSerial(std::byte const * source, std::byte * destination) const;
  void runRows(std::byte const * source, std::byte * destination) const;
  void spreadRow(layout::SpreadKernel kernel, std::byte const * source, std::byte * destination, bool streaming) const;
  void gatherRow(std::byte const * source, std::byte * destination, bool streaming) const;
  void runBlocks(std::byte const * source, std::byte * destination) const;
  void runThroughTemporary(std::byte const * source, std::byte * destination) const;
  void convertRow(std::byte const * source, std::byte * destination, size_t count, bool streaming) const;

  layout::LoopNest nest_;
  ScalarType sourceType_;
  ScalarType destinationType_;
  std::optional<LinearMap> map_;
  size_t sourceBytes_;
  size_t destinationBytes_;
  size_t transposed_ = 0; // the loop along which the source is fastest, if that is not loop 0
  bool streaming_ = false;
};

/// Converts a strided region once; the same as making a `ConversionPlan` and running it.
inline void convertStrided(std::span<uint64_t const> size, std::span<uint64_t const> sourceStrides,
                           std::span<uint64_t const> destinationStrides, ScalarType sourceType,
                           ScalarType destinationType, void const * source, void * destination,
                           std::optional<LinearMap> map = std::nullopt) {
  ConversionPlan(size, sourceStrides, destinationStrides, sourceType, destinationType, map).run(source, destination);
}

} // namespace zarnik
