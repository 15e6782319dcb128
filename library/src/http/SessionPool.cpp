#include "http/SessionPool.h"

#include <chrono>
#include <utility>

#ifdef _WIN32
#include <process.h>
#else
#include <unistd.h>
#endif

namespace zarnik::http {

namespace {

constexpr size_t KEPT_SESSIONS = 4;

} // namespace

long processNumber() {
#ifdef _WIN32
  return _getpid();
#else
  return getpid();
#endif
}

SessionPool::SessionPool(unsigned connections)
    : connections_(connections), limit_(connections), process_(processNumber()) {
  sessions_.reserve(KEPT_SESSIONS); // to give one back must not fail
}

SessionPool::~SessionPool() {
  if (processNumber() != process_)
    leaveToParent();
}

// Closing a connection here would tell the server so, in the middle of what the parent asks it.
void SessionPool::leaveToParent() {
  for (auto & session : sessions_)
    (void)session.release();
  sessions_.clear();
}

std::unique_ptr<Session> SessionPool::take() {
  {
    std::lock_guard const lock(mutex_);
    if (processNumber() != process_) {
      leaveToParent();
      process_ = processNumber();
      used_ = 0;
    }
    if (!sessions_.empty()) {
      auto session = std::move(sessions_.back());
      sessions_.pop_back();
      return session;
    }
  }
  return std::make_unique<Session>(connections_);
}

void SessionPool::giveBack(std::unique_ptr<Session> session) {
  {
    std::lock_guard const lock(mutex_);
    if (sessions_.size() < KEPT_SESSIONS)
      sessions_.push_back(std::move(session));
  }
  BrokenPipeGuard const guard; // one too many is closed here
  session.reset();
}

void SessionPool::setLimit(unsigned requests) {
  std::lock_guard const lock(mutex_);
  limit_ = requests;
}

bool SessionPool::tryAcquire() {
  std::lock_guard const lock(mutex_);
  if (used_ >= limit_)
    return false;
  ++used_;
  return true;
}

bool SessionPool::acquire(int milliseconds) {
  std::unique_lock lock(mutex_);
  if (!released_.wait_for(lock, std::chrono::milliseconds(milliseconds), [&] { return used_ < limit_; }))
    return false;
  ++used_;
  return true;
}

void SessionPool::release() {
  {
    std::lock_guard const lock(mutex_);
    --used_;
  }
  released_.notify_one();
}

} // namespace zarnik::http
