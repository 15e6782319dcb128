#pragma once

#include "direct/CallWithoutLock.h"
#include "module/Reference.h"
#include "zarnik/core/Progress.h"

#include <memory>

namespace zarnik::python {

/// A function of Python code that is told how far an operation is: progress(done, total), some twenty times a second
/// and when all is done, on whatever thread works. What it raises ends the operation, and is what its caller sees.
class ProgressCall {
public:
  /// \param function None, or null, for none
  explicit ProgressCall(PyObject * function);

  /// For the library, which is told as well when the user has interrupted the call. Must not outlive the cancellation.
  Progress until(Cancellation const & cancellation) const;

private:
  std::shared_ptr<KeptObject> function_; // none if nobody is to be told
};

} // namespace zarnik::python
