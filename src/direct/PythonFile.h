#pragma once

#include "module/Reference.h"
#include "zarnik/access/RandomAccess.h"
#include "zarnik/access/StreamAccess.h"
#include "zarnik/core/Error.h"

#include <memory>

namespace zarnik::python {

/// An exception of Python code that the library called: its text for those who know no Python, itself as the cause for
/// the others.
class CausedError : public Error {
public:
  /// Takes the pending exception. Needs the interpreter's lock.
  explicit CausedError(std::string const & what);

  /// Makes the exception pending again, as itself if it is none that programs handle (Ctrl-C), else as the cause of the
  /// pending one.
  void restore() const;

private:
  std::shared_ptr<KeptObject> cause_;
};

/// A Python object with the methods of a binary file, as a stream. Each operation takes the interpreter's lock.
/// \throws PendingError with TypeError pending if it has no methods of a file
std::shared_ptr<StreamAccess> streamOverPythonFile(PyObject * file);

/// The same as a random accessor, which needs it to seek. Any thread may read; one does at a time.
/// \throws Error if it cannot seek
std::shared_ptr<RandomAccess> randomOverPythonFile(PyObject * file);

} // namespace zarnik::python
