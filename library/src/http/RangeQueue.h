#pragma once

#include "http/HttpResource.h"

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace zarnik::http {

/// Requests for ranges of a resource: those that wait, those under way. It is used by one thread at a time.
class RangeQueue {
public:
  /// \param most  requests that are under way at a time, at least one
  RangeQueue(HttpResource & resource, ByteSink & sink, size_t most = SIZE_MAX);
  /// Requests that are under way are broken off.
  ~RangeQueue();
  RangeQueue(RangeQueue const &) = delete;
  RangeQueue & operator=(RangeQueue const &) = delete;

  void add(ByteRange range) { waiting_.push_back({.range = range}); }

  /// Goes on until all ranges have arrived, or the sink is full: then what the server sends waits in the system's
  /// buffers until the next run.
  /// \throws Error if one of them cannot be had, or the call is interrupted; the queue is of no use any more then
  void run();

  /// What the last answer told.
  ResourceIdentity identity;
  std::string validator;
  bool multiplexed = false;
  double answerSeconds = 0; // from the request to the first byte

private:
  struct Waiting {
    ByteRange range;
    std::optional<ResourceIdentity> identity{}; // of what has come before the resource is open
    unsigned tries = 0;
    Clock::time_point firstFailure{};
    Clock::time_point notBefore{};
  };

  struct Job {
    Waiting work;
    EasyHandle handle;
    std::unique_ptr<RangeTransfer> transfer;
    bool counts = true; // among the requests under way; not while it is paused
  };

  bool isDone() const { return waiting_.empty() && active_.empty(); }
  void resume();
  void pause();
  void startDue();
  void start(Waiting const & work);
  ResourceIdentity const * identityFor(Waiting const & work) const;
  void stop(Job & job);
  void drive();
  void finish(CURL * handle, CURLcode code);
  void again(Job const & job);
  void dropStalled();
  void checkInterruption() const;
  Clock::duration untilNext() const;

  HttpResource & resource_;
  ByteSink & sink_;
  size_t most_;
  SessionLease session_;
  std::deque<Waiting> waiting_;
  std::vector<std::unique_ptr<Job>> active_;
};

} // namespace zarnik::http
