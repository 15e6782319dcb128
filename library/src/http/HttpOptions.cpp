#include "zarnik/http/HttpOptions.h"

#include "core/Guarded.h"
#include "http/CheckOptions.h"
#include "zarnik/core/Error.h"

#include <mutex>

namespace zarnik {

namespace http {

namespace {

template <typename T> void checkRange(char const * name, T value, T least, T most) {
  // Written so that what is not a number fails.
  if (!(value >= least && value <= most))
    throw InvalidArgument(message("{} of HTTP is {}, allowed is {} to {}", name, value, least, most));
}

} // namespace

void checkOptions(HttpOptions const & options) {
  constexpr size_t mebibyte = size_t{1} << 20;
  constexpr double day = 86400;
  checkRange("blockBytes", options.blockBytes, size_t{512}, 64 * mebibyte);
  checkRange("cacheBytes", options.cacheBytes, size_t{0}, SIZE_MAX / 4);
  checkRange("gapBytes", options.gapBytes, size_t{0}, SIZE_MAX / 4);
  checkRange("requestBytes", options.requestBytes, options.blockBytes, 1024 * mebibyte);
  checkRange("rangesPerRequest", options.rangesPerRequest, 1U, 1000U);
  checkRange("readAheadBytes", options.readAheadBytes, size_t{0}, 1024 * mebibyte);
  checkRange("parallelRequests", options.parallelRequests, 1U, 256U);
  checkRange("parallelStreams", options.parallelStreams, 1U, 256U);
  checkRange("redirects", options.redirects, 0U, 100U);
  checkRange("connectSeconds", options.connectSeconds, 0.001, day);
  checkRange("stallSeconds", options.stallSeconds, 0.001, day);
  checkRange("requestSeconds", options.requestSeconds, 0.001, day);
  checkRange("answerSeconds", options.answerSeconds, 0.001, day);
  checkRange("retries", options.retries, 0U, 100U);
  checkRange("retrySeconds", options.retrySeconds, 0.0, day);
  checkRange("backOffSeconds", options.backOffSeconds, 0.0, day);
}

} // namespace http

namespace {

std::mutex defaultsMutex;
HttpOptions defaults;

} // namespace

HttpOptions defaultHttpOptions() {
  std::lock_guard const lock(defaultsMutex);
  return defaults;
}

void setDefaultHttpOptions(HttpOptions const & options) {
  http::checkOptions(options);
  std::lock_guard const lock(defaultsMutex);
  defaults = options;
}

} // namespace zarnik
