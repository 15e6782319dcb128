#pragma once

#include "module/Reference.h"
#include "zarnik/core/Error.h"

#include <memory>
#include <string>

namespace zarnik::python {

/// Holds the interpreter's lock while it lives, on whatever thread.
class WithLock {
public:
  WithLock() : state_(PyGILState_Ensure()) {}
  ~WithLock() { PyGILState_Release(state_); }
  WithLock(WithLock const &) = delete;
  WithLock & operator=(WithLock const &) = delete;

private:
  PyGILState_STATE state_;
};

/// What str() makes of an object; no error is pending afterwards. Needs the interpreter's lock.
std::string textOf(PyObject * object);

/// An exception of Python code that the library called: its text for those who know no Python, itself as the cause for
/// the others.
class CausedError : public Error {
public:
  /// What the caller of the library gets to see.
  enum class Seen {
    AS_CAUSE, ///< an Error whose cause is the exception
    AS_ITSELF ///< the exception
  };

  /// Takes the pending exception. Needs the interpreter's lock.
  explicit CausedError(std::string const & what, Seen seen = Seen::AS_CAUSE);

  /// Makes the exception the cause of the pending one; pending itself if it is to be seen as such, or is none that
  /// programs handle, such as that of Ctrl-C.
  void restore() const;

private:
  std::shared_ptr<KeptObject> cause_;
  Seen seen_;
};

} // namespace zarnik::python
