#include "http/HttpResource.h"

#include "http/RangeQueue.h"
#include "zarnik/core/Error.h"

#include <array>
#include <fmt/format.h>
#include <utility>

namespace zarnik::http {

namespace {

// Ranges of a compressed body are of no use, and the lengths are ours to tell.
constexpr std::array<std::string_view, 5> OWN_HEADERS = {"Accept-Encoding", "Range", "If-Range", "Content-Length",
                                                         "Transfer-Encoding"};

// Two connections that wait this long for each answer still bring more than a processor takes.
constexpr double AT_HAND_SECONDS = 0.002;

// Fewer calls and fewer waits than with less; two of these stay in a processor's own cache.
constexpr long RECEIVED_AT_ONCE = 512L << 10;

} // namespace

HttpResource::HttpResource(Uri const & uri, std::string const & method, HTTPHeaders const & headers,
                           HttpOptions const & options)
    : options_(options), target_(uri, method, headers, options, OWN_HEADERS), pool_(options.parallelRequests) {
  if (equalIgnoringCase(method, "HEAD") || equalIgnoringCase(method, "CONNECT"))
    throw InvalidArgument(fmt::format("nothing can be read by the method {}", method));
  target_.addHeader("Accept-Encoding: identity");
}

EasyHandle HttpResource::takeHandle(Session & session) const {
  if (!session.idle.empty()) {
    auto handle = std::move(session.idle.back());
    session.idle.pop_back();
    return handle;
  }
  auto handle = newEasyHandle();
  target_.prepare(handle.get());
  if (target_.method() != "GET")
    setOption(handle.get(), CURLOPT_CUSTOMREQUEST, target_.method().c_str());
  setOption(handle.get(), CURLOPT_FOLLOWLOCATION, 1L);
  setOption(handle.get(), CURLOPT_MAXREDIRS, static_cast<long>(options_.redirects));
  setOption(handle.get(), CURLOPT_BUFFERSIZE, RECEIVED_AT_ONCE);
  return handle;
}

void HttpResource::open(uint64_t size, ByteSink & sink) {
  RangeQueue queue(*this, sink);
  queue.add({0, size});
  queue.run();
  identity_ = queue.identity;
  open_ = true;
  if (!queue.validator.empty())
    target_.addHeader("If-Range: " + queue.validator);
  multiplexed_ = queue.multiplexed;
  atHand_ = queue.answerSeconds < AT_HAND_SECONDS;
  if (multiplexed_)
    pool_.setLimit(options_.parallelStreams);
}

void HttpResource::fetch(std::vector<ByteRange> const & ranges, ByteSink & sink, size_t most) {
  RangeQueue queue(*this, sink, most);
  for (auto const & range : ranges)
    queue.add(range);
  queue.run();
}

} // namespace zarnik::http
