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

/// Copies bytes to a destination that is not to take room in the caches. `flushStreams` ends a series of these.
void streamValues(std::byte * destination, std::byte const * source, size_t bytes);
void flushStreams();

} // namespace zarnik::layout
