#pragma once

#include "http/Counters.h"
#include "http/HttpTarget.h"
#include "http/RangeTransfer.h"
#include "http/SessionPool.h"

#include <atomic>
#include <vector>

namespace zarnik::http {

/// A resource of a server that is read in ranges, several at a time, again and again until they have arrived or the
/// options' patience ends. It may be used from several threads at once.
class HttpResource {
public:
  /// \throws InvalidArgument as HttpTarget does
  HttpResource(Uri const & uri, std::string const & method, HTTPHeaders const & headers, HttpOptions const & options);

  /// Asks for the first bytes, which tells what the resource is. To be called once, before `fetch`.
  /// \param sink receives them, at most `size` bytes
  /// \throws Error if it cannot be had, or not in ranges
  void open(uint64_t size, ByteSink & sink);

  /// Fetches all of the ranges, each not empty and within the resource.
  /// \param most  requests that are under way at a time
  /// \throws Error if one of them cannot be had; the others may have arrived or not
  void fetch(std::vector<ByteRange> const & ranges, ByteSink & sink, size_t most = SIZE_MAX);

  /// A handle that is set up for the resource, to be put among the idle ones of the session when it is done.
  EasyHandle takeHandle(Session & session) const;

  /// Whether the server may be asked for several ranges by one request.
  bool takesSeveral() const { return takesSeveral_ && options_.rangesPerRequest > 1; }
  /// It has shown that it may not.
  void refuseSeveral() { takesSeveral_ = false; }

  /// Whether an answer may wait while it is not read. Over HTTP/2 those that wait hold up the connection, and libcurl
  /// has lost them before.
  bool mayPause() const { return !multiplexed_; }

  /// Whether the server answered at once when the resource was opened.
  bool isAtHand() const { return atHand_; }

  uint64_t size() const { return identity_.size; }
  ResourceIdentity const & identity() const { return identity_; }
  SessionPool & pool() { return pool_; }
  HttpOptions const & options() const { return options_; }
  HttpTarget const & target() const { return target_; }
  Counters & counters() { return counters_; }
  Counters const & counters() const { return counters_; }

private:
  friend class RangeQueue;

  HttpOptions options_;
  HttpTarget target_;
  SessionPool pool_;
  ResourceIdentity identity_;
  Counters counters_;
  bool open_ = false;
  bool multiplexed_ = false;
  bool atHand_ = false;
  std::atomic<bool> takesSeveral_{true};
};

} // namespace zarnik::http
