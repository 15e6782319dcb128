#include "module/Errors.h"

#include "direct/Functions.h"
#include "direct/TypeTable.h"
#include "module/CausedError.h"
#include "module/Reference.h"
#include "zarnik/core/Error.h"

#include <cstring>
#include <new>

namespace zarnik::python {

namespace {

// As an instance of the class registered for the error's own kind, of RuntimeError where there is none.
void raise(char const * typeName, Error const & error) {
  auto * kind = classOf(findType(typeName));
  if (!kind)
    kind = PyExc_RuntimeError;
  auto const * const text = error.what();
  auto const message =
      Reference::steal(PyUnicode_DecodeUTF8(text, static_cast<Py_ssize_t>(std::strlen(text)), "replace"));
  if (message)
    PyErr_SetObject(kind, message.get());
}

} // namespace

void translateException() noexcept {
  try {
    throw;
  } catch (PendingError const &) {
    return;
  } catch (CausedError const & error) {
    raise("zarnik::Error *", error);
    error.restore();
  } catch (InvalidArgument const & error) {
    raise("zarnik::InvalidArgument *", error);
  } catch (NotImplemented const & error) {
    raise("zarnik::NotImplemented *", error);
  } catch (Error const & error) {
    raise("zarnik::Error *", error);
  } catch (std::bad_alloc const &) {
    PyErr_NoMemory();
  } catch (std::exception const & error) {
    PyErr_SetString(PyExc_RuntimeError, error.what());
  } catch (...) {
    PyErr_SetString(PyExc_RuntimeError, "unknown C++ exception");
  }
}

} // namespace zarnik::python
