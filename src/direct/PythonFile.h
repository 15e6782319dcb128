#pragma once

#include "module/CausedError.h"
#include "zarnik/access/RandomAccess.h"
#include "zarnik/access/StreamAccess.h"

#include <memory>

namespace zarnik::python {

/// A Python object with the methods of a binary file, as a stream. Each operation takes the interpreter's lock.
/// \throws PendingError with TypeError pending if it has no methods of a file
std::shared_ptr<StreamAccess> streamOverPythonFile(PyObject * file);

/// The same as a random accessor, which needs it to seek. Any thread may read; one does at a time.
/// \throws Error if it cannot seek
std::shared_ptr<RandomAccess> randomOverPythonFile(PyObject * file);

} // namespace zarnik::python
