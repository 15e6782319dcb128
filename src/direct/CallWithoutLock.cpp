#include "direct/CallWithoutLock.h"

#include "module/CausedError.h"
#include "zarnik/core/Interruption.h"

#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>

namespace zarnik::python {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds POLL_INTERVAL{100};
constexpr milliseconds GRACE{500};
constexpr milliseconds GRACE_AT_EXIT{5000};

// Of work that another thread does: whether it has ended, and how.
struct Outcome {
  std::mutex mutex;
  std::condition_variable ended;
  bool isDone = false;
  bool isOrphan = false; // nobody waits any more
  std::exception_ptr error;

  bool waitFor(milliseconds time) {
    std::unique_lock lock(mutex);
    return ended.wait_for(lock, time, [&] { return isDone; });
  }
};

// Work whose call was interrupted. The process waits a while for it before its static objects go. Never destroyed.
struct Orphans {
  std::mutex mutex;
  std::condition_variable ended;
  int count = 0;

  void change(int difference) {
    std::lock_guard const lock(mutex);
    count += difference;
    ended.notify_all();
  }
};
Orphans & orphans() {
  static auto & all = *new Orphans;
  return all;
}

void waitForOrphans() {
  std::unique_lock lock(orphans().mutex);
  orphans().ended.wait_for(lock, GRACE_AT_EXIT, [] { return orphans().count == 0; });
}

using Work = std::function<void(Cancellation const &)>;

void perform(std::shared_ptr<Work> work, Cancellation const & cancellation, std::shared_ptr<Outcome> const & outcome) {
  std::exception_ptr error;
  try {
    // What waits for a server ends by itself.
    InterruptionScope const scope([&] { return cancellation.requested(); });
    (*work)(cancellation);
  } catch (...) {
    error = std::current_exception();
  }
  // Before anybody is told: whoever waits is then the last to hold what the work owns, and has the lock to drop it.
  work.reset();
  std::lock_guard const lock(outcome->mutex);
  outcome->error = std::move(error);
  outcome->isDone = true;
  outcome->ended.notify_all();
  if (outcome->isOrphan)
    orphans().change(-1);
}

void leave(Outcome & outcome) {
  static bool const isWaitedFor = Py_AtExit(waitForOrphans) == 0;
  static_cast<void>(isWaitedFor);
  std::lock_guard const lock(outcome.mutex);
  if (outcome.isDone)
    return;
  outcome.isOrphan = true;
  orphans().change(1);
}

bool isMainThread() {
  auto const threading = Reference::steal(PyImport_ImportModule("threading"));
  auto const main =
      threading ? Reference::steal(PyObject_CallMethod(threading.get(), "main_thread", nullptr)) : Reference();
  auto const current =
      main ? Reference::steal(PyObject_CallMethod(threading.get(), "current_thread", nullptr)) : Reference();
  PyErr_Clear();
  return current && current.get() == main.get();
}

bool wait(Outcome & outcome, milliseconds time) {
  WithoutLock const released;
  return outcome.waitFor(time);
}

// The error of the handler is put aside, so that Python code of other handlers can run meanwhile.
void endInterrupted(Outcome & outcome, std::atomic<bool> & requested, bool listens) {
  PyObject * type = nullptr;
  PyObject * value = nullptr;
  PyObject * traceback = nullptr;
  PyErr_Fetch(&type, &value, &traceback);
  requested = true;
  auto const start = std::chrono::steady_clock::now();
  while (!wait(outcome, POLL_INTERVAL)) {
    bool const isInterruptedAgain = PyErr_CheckSignals() != 0;
    PyErr_Clear();
    // Whoever interrupts twice does not wait for work that merely says that it listens.
    if (isInterruptedAgain || (!listens && std::chrono::steady_clock::now() - start > GRACE)) {
      leave(outcome);
      break;
    }
  }
  PyErr_Restore(type, value, traceback);
}

} // namespace

void runAskingForSignals(std::function<void()> const & work) {
  bool isInterrupted = false;
  {
    WithoutLock const released;
    auto next = std::chrono::steady_clock::now() + POLL_INTERVAL;
    InterruptionScope const scope([&] {
      if (isInterrupted || std::chrono::steady_clock::now() < next)
        return isInterrupted;
      WithLock const locked;
      isInterrupted = PyErr_CheckSignals() != 0;
      next = std::chrono::steady_clock::now() + POLL_INTERVAL;
      return isInterrupted;
    });
    try {
      work();
    } catch (...) {
      if (!isInterrupted)
        throw;
    }
  }
  if (isInterrupted)
    throw PendingError();
}

void runInterruptibly(std::function<void(Cancellation const &)> work, bool listens) {
  Cancellation cancellation;
  if (!isMainThread()) {
    WithoutLock const released;
    work(cancellation);
    return;
  }
  cancellation.requested_ = std::make_shared<std::atomic<bool>>(false);
  auto const outcome = std::make_shared<Outcome>();
  auto const owned = std::make_shared<Work>(std::move(work));
  try {
    std::thread([work = owned, cancellation, outcome]() mutable {
      perform(std::move(work), cancellation, outcome);
    }).detach();
  } catch (std::system_error const &) {
    // Without another thread the work is done here, and signals wait.
    WithoutLock const released;
    (*owned)(cancellation);
    return;
  }
  while (!wait(*outcome, POLL_INTERVAL)) {
    if (PyErr_CheckSignals() != 0) {
      endInterrupted(*outcome, *cancellation.requested_, listens);
      throw PendingError();
    }
  }
  if (outcome->error)
    std::rethrow_exception(outcome->error);
}

} // namespace zarnik::python
