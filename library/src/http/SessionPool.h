#pragma once

#include "http/Curl.h"

#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

namespace zarnik::http {

/// Kept connections with the handles that use them; used by one thread at a time.
struct Session {
  explicit Session(unsigned connections) : handles(newMultiHandle(connections)) {}

  MultiHandle handles;
  std::vector<EasyHandle> idle; // set up for the target, declared last to go before the connections
};

/// Lends the sessions of an accessor to the threads that read, and counts their requests, so that all of them together
/// keep to the limit.
class SessionPool {
public:
  explicit SessionPool(unsigned connections);
  ~SessionPool();
  SessionPool(SessionPool const &) = delete;
  SessionPool & operator=(SessionPool const &) = delete;

  std::unique_ptr<Session> take();
  /// Keeps the connections for the next one.
  void giveBack(std::unique_ptr<Session> session);

  /// How many requests may be under way together.
  void setLimit(unsigned requests);
  /// Takes the right to one more request. \return false if there is none left now
  bool tryAcquire();
  /// Waits at most some milliseconds for it.
  bool acquire(int milliseconds);
  void release();

private:
  void leaveToParent();

  std::mutex mutex_;
  std::condition_variable released_;
  std::vector<std::unique_ptr<Session>> sessions_;
  unsigned connections_;
  unsigned limit_;
  unsigned used_ = 0;
  long process_;
};

/// A session for as long as it lives. One that is left by an exception is not used again.
class SessionLease {
public:
  explicit SessionLease(SessionPool & pool) : pool_(pool), session_(pool.take()) {}
  ~SessionLease() {
    if (session_ && whole_)
      pool_.giveBack(std::move(session_));
  }
  SessionLease(SessionLease const &) = delete;
  SessionLease & operator=(SessionLease const &) = delete;

  Session & operator*() { return *session_; }
  void done() { whole_ = true; }

private:
  SessionPool & pool_;
  std::unique_ptr<Session> session_;
  bool whole_ = false;
};

/// The number of this process; a forked one has another, and must not use the connections of its parent.
long processNumber();

} // namespace zarnik::http
