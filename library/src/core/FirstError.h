#pragma once

#include <atomic>
#include <exception>
#include <mutex>

namespace zarnik {

/// The first error of several threads that work on one thing.
class FirstError {
public:
  /// Does some of the work, and keeps what it throws if it is the first.
  template <typename Work> void guard(Work const & work) noexcept {
    try {
      work();
    } catch (...) {
      std::lock_guard const lock(mutex_);
      if (!error_)
        error_ = std::current_exception();
      happened_ = true;
    }
  }

  /// Whether there is one, on any thread: the others may as well end.
  bool happened() const { return happened_; }

  /// Throws the error if there is one. To be called when all threads are done.
  void rethrow() const {
    if (error_)
      std::rethrow_exception(error_);
  }

private:
  std::mutex mutex_;
  std::exception_ptr error_;
  std::atomic<bool> happened_ = false;
};

} // namespace zarnik
