#include "http/HttpResource.h"

#include "http/RangeQueue.h"
#include "zarnik/core/Error.h"

#include <array>
#include <fmt/format.h>

namespace zarnik::http {

namespace {

// Ranges of a compressed body are of no use, and the lengths are ours to tell.
constexpr std::array<std::string_view, 5> OWN_HEADERS = {"Accept-Encoding", "Range", "If-Range", "Content-Length",
                                                         "Transfer-Encoding"};

} // namespace

HttpResource::HttpResource(Uri const & uri, std::string const & method, HTTPHeaders const & headers,
                           HttpOptions const & options)
    : options_(options), target_(uri, method, headers, options, OWN_HEADERS), pool_(options.parallelRequests) {
  if (equalIgnoringCase(method, "HEAD") || equalIgnoringCase(method, "CONNECT"))
    throw InvalidArgument(fmt::format("nothing can be read by the method {}", method));
  target_.addHeader("Accept-Encoding: identity");
}

void HttpResource::open(uint64_t size, ByteSink & sink) {
  RangeQueue queue(*this, sink);
  queue.add({0, size});
  queue.run();
  identity_ = queue.identity;
  open_ = true;
  if (!queue.validator.empty())
    target_.addHeader("If-Range: " + queue.validator);
  if (queue.multiplexed)
    pool_.setLimit(options_.parallelStreams);
}

void HttpResource::fetch(std::vector<ByteRange> const & ranges, ByteSink & sink) {
  RangeQueue queue(*this, sink);
  for (auto const & range : ranges)
    queue.add(range);
  queue.run();
}

} // namespace zarnik::http
