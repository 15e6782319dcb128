#pragma once

#include "zarnik/values/DataType.h"
#include "zarnik/values/Indexer.h"
#include "zarnik/values/VectorX.h"

namespace zarnik::layout {

/// \throws InvalidArgument Unless the elements of a buffer have as many bytes as those that are to be moved.
void checkElementBytes(char const * side, DataType buffer, DataType moved);

/// \throws InvalidArgument Unless the region lies within the indexer's shape. `side` is for the message.
void checkRegion(char const * side, Indexer const & indexer, VectorXu64 const & origin, VectorXu64 const & size);

/// Returns the offset of an origin in bytes, modulo 2^64. The origin may be one past the end, of an empty region.
uint64_t originOffset(Indexer const & indexer, VectorXu64 const & origin);

} // namespace zarnik::layout
