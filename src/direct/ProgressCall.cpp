#include "direct/ProgressCall.h"

#include "module/CausedError.h"

#include <chrono>

namespace zarnik::python {

namespace {

using Clock = std::chrono::steady_clock;
// Each call waits for the interpreter's lock, which other threads may have for 5 ms.
constexpr std::chrono::milliseconds BETWEEN_CALLS{50};

void tell(PyObject * function, uint64_t done, uint64_t total) {
  WithLock const lock;
  auto const result = Reference::steal(PyObject_CallFunction(function, "KK", static_cast<unsigned long long>(done),
                                                             static_cast<unsigned long long>(total)));
  if (!result)
    throw CausedError("progress could not be told", CausedError::Seen::AS_ITSELF);
}

} // namespace

ProgressCall::ProgressCall(PyObject * function) {
  if (function && function != Py_None)
    function_ = std::make_shared<KeptObject>(Reference::share(function));
}

Progress ProgressCall::until(Cancellation const & cancellation) const {
  return [&cancellation, function = function_, next = Clock::time_point()](uint64_t done, uint64_t total) mutable {
    if (cancellation.requested())
      return false;
    if (auto const now = Clock::now(); function && (done == total || now >= next)) {
      tell(function->get(), done, total);
      next = now + BETWEEN_CALLS;
    }
    return true;
  };
}

} // namespace zarnik::python
