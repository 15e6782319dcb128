#pragma once

#include "zarnik/access/RandomAccess.h"
#include "zarnik/access/StreamAccess.h"

namespace zarnik {

/// Raises NotImplemented that names the accessor when it lacks a capability.
/// \param cannot what it then cannot do, such as "be written"
void requireCapability(RandomAccess const & access, RandomAccessCapability capability, char const * cannot);
void requireCapability(StreamAccess const & stream, StreamAccessCapability capability, char const * cannot);

} // namespace zarnik
