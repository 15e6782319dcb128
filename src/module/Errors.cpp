#include "module/Errors.h"

#include "module/CausedError.h"
#include "module/Runtime.h"
#include "zarnik/core/Error.h"

#include <memory>
#include <new>

namespace zarnik::python {

namespace {

void raiseLibraryError(Error const & error) {
  auto copy = std::make_unique<Error>(error);
  auto * const object = wrapOwned(copy.get(), errorType());
  if (!object)
    return;
  copy.release();
  raiseWrapped(object, errorType());
}

} // namespace

void translateException() noexcept {
  try {
    throw;
  } catch (Error const & error) {
    try {
      raiseLibraryError(error);
      if (auto const * const caused = dynamic_cast<CausedError const *>(&error))
        caused->restore();
    } catch (...) {
      PyErr_NoMemory();
    }
  } catch (std::bad_alloc const &) {
    PyErr_NoMemory();
  } catch (std::exception const & error) {
    PyErr_SetString(PyExc_RuntimeError, error.what());
  } catch (...) {
    PyErr_SetString(PyExc_RuntimeError, "unknown C++ exception");
  }
}

} // namespace zarnik::python
