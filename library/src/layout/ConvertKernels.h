#pragma once

#include "layout/ConversionPlan.h"

#include <cstddef>

namespace zarnik::layout {

/// Values converted at a time through buffers on the stack.
constexpr size_t CONVERTED_AT_ONCE = 512;

/// Converts `count` values that are dense on both sides, which must not overlap.
void convertValues(ScalarType sourceType, ScalarType destinationType, std::byte const * source, std::byte * destination,
                   size_t count);

/// The same with a linear map in between.
void mapValues(ScalarType sourceType, ScalarType destinationType, LinearMap map, std::byte const * source,
               std::byte * destination, size_t count);

/// A row of values that lie apart, or the other way round.
struct SpreadRow {
  std::byte const * first; ///< The value that becomes the first one.
  size_t count;            ///< At least 1.
  int64_t sourceAhead;     ///< How far from each value is what the caches should fetch meanwhile.
  int64_t destinationAhead;
};

/// Leaves every value as it is, the negative zero too.
constexpr LinearMap IDENTITY{1, -0.0};

/// Returns what converts a row to dense values.
/// \param stride From one value of the row to the next, in bytes.
/// \return nullptr if there is none for the types or the stride
SpreadKernel spreadKernel(ScalarType sourceType, ScalarType destinationType, int64_t stride);

/// Copies bytes to a destination that is not to take room in the caches. `flushStreams` ends a series of these.
void streamValues(std::byte * destination, std::byte const * source, size_t bytes);
void flushStreams();

} // namespace zarnik::layout
