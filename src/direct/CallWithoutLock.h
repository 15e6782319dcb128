#pragma once

#include "direct/Functions.h"
#include "module/Reference.h"

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

namespace zarnik::python {

/// Told to a function that can end early, when the user has interrupted the call.
class Cancellation {
public:
  bool requested() const { return requested_ && requested_->load(std::memory_order_relaxed); }

private:
  friend void runInterruptibly(std::function<void(Cancellation const &)> work, bool listens);
  std::shared_ptr<std::atomic<bool>> requested_; // none where nobody can ask
};

/// How long a call without the lock may take.
enum class CallLength {
  SHORT,  ///< well below 0.2 s, whatever happens: made on the calling thread
  SERVER, ///< a transfer that asks an InterruptionScope whether to end, as those over HTTP do: made there too
  LONG    ///< a large transfer, or one that waits for a disk or a server
};

/// Does work on this thread without the interpreter's lock. An InterruptionScope looks for signals every 0.1 s.
/// \throws PendingError when a handler raised, with its error pending; else what the work throws
void runAskingForSignals(std::function<void()> const & work);

/// Does work on another thread and waits for it without the interpreter's lock, looking for signals every 0.1 s: a
/// handler that raises, as that of Ctrl-C does, ends the waiting. Work that listens is told and waited for; other work
/// is given half a second to end and then goes on by itself, so it has to own all that it touches. On other threads
/// than the main one, which alone handles signals, the work is done at once. \throws PendingError when a handler
/// raised, with its error pending; else what the work throws
void runInterruptibly(std::function<void(Cancellation const &)> work, bool listens);

/// Calls a function with the interpreter's lock given up, so it must not touch Python objects; references that it keeps
/// are of type KeptObject. It may take a Cancellation const &.
/// \throws what the function throws, and PendingError if a long call was interrupted
template <typename F> auto callWithoutLock(F function, CallLength length) {
  constexpr bool listens = std::is_invocable_v<F &, Cancellation const &>;
  auto const call = [](F & f, Cancellation const & cancellation) {
    if constexpr (listens)
      return f(cancellation);
    else
      return f();
  };
  if (length == CallLength::SHORT) {
    WithoutLock const released;
    return call(function, Cancellation());
  }
  using Result = decltype(call(function, Cancellation()));
  if (length == CallLength::SERVER) {
    if constexpr (std::is_void_v<Result>) {
      return runAskingForSignals([&] { call(function, Cancellation()); });
    } else {
      std::optional<Result> result;
      runAskingForSignals([&] { result.emplace(call(function, Cancellation())); });
      return std::move(*result);
    }
  }
  // Shared with the thread, which outlives an interrupted call.
  auto const shared = std::make_shared<F>(std::move(function));
  if constexpr (std::is_void_v<Result>) {
    runInterruptibly([shared, call](Cancellation const & cancellation) { call(*shared, cancellation); }, listens);
  } else {
    auto const result = std::make_shared<std::optional<Result>>();
    runInterruptibly(
        [shared, call, result](Cancellation const & cancellation) { result->emplace(call(*shared, cancellation)); },
        listens);
    return std::move(**result);
  }
}

} // namespace zarnik::python
