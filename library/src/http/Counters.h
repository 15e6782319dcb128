#pragma once

#include "zarnik/http/HttpStatistics.h"

#include <atomic>

namespace zarnik::http {

/// The counters of an access, added to on any thread.
struct Counters {
  std::atomic<uint64_t> requests{0};
  std::atomic<uint64_t> bytesReceived{0};
  std::atomic<uint64_t> bytesSent{0};
  std::atomic<uint64_t> cacheHits{0};
  std::atomic<uint64_t> cacheMisses{0};
  std::atomic<uint64_t> retries{0};

  HttpStatistics read() const {
    return {.requests = requests,
            .bytesReceived = bytesReceived,
            .bytesSent = bytesSent,
            .cacheHits = cacheHits,
            .cacheMisses = cacheMisses,
            .retries = retries};
  }
};

} // namespace zarnik::http
