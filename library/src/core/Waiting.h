#pragma once

#include "zarnik/core/Waiting.h"

namespace zarnik {

/// Calls wait(argument) in the way of the program that uses the library.
void callAroundWait(void (*wait)(void *), void * argument);

/// Waits for another thread, by calling a function.
template <typename Wait> void waitFor(Wait wait) {
  callAroundWait([](void * argument) { (*static_cast<Wait *>(argument))(); }, &wait);
}

/// Has a mutex while it lives, like std::lock_guard: for a mutex that is held while other views or accessors are
/// called, which may call back into the program.
template <typename Mutex> class Turn {
public:
  explicit Turn(Mutex & mutex) : mutex_(mutex) {
    if (!mutex_.try_lock())
      waitFor([this] { mutex_.lock(); });
  }
  ~Turn() { mutex_.unlock(); }
  Turn(Turn const &) = delete;
  Turn & operator=(Turn const &) = delete;

private:
  Mutex & mutex_;
};

} // namespace zarnik
