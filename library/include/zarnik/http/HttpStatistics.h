#pragma once

#include "zarnik/core/Export.h"

#include <cstdint>
#include <optional>
#include <string>

namespace zarnik {

class DataAccess;

/// What an access over HTTP has done so far.
struct HttpStatistics {
  /// Requests sent, repetitions included, those of redirects not.
  uint64_t requests = 0;
  /// Bytes of bodies received, those that nobody asked for included.
  uint64_t bytesReceived = 0;
  /// Bytes of the body sent.
  uint64_t bytesSent = 0;
  /// Blocks that a read found in memory.
  uint64_t cacheHits = 0;
  /// Blocks that a read had to wait for.
  uint64_t cacheMisses = 0;
  /// Requests that were tried again.
  uint64_t retries = 0;
};

/// Return the counters of an access over HTTP, or of a part or a stream over one; nothing for any other. Safe while
/// others read through it.
ZARNIK_API std::optional<HttpStatistics> httpStatistics(DataAccess const & access);

/// Return what tells versions of a resource apart that is read over HTTP: its size, and the entity tag or the time of
/// the last change as far as the server gives them; empty for any other access.
ZARNIK_API std::string httpVersion(DataAccess const & access);

} // namespace zarnik
