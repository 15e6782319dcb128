#pragma once

#include "module/Errors.h"
#include "module/Python.h"

#include <array>
#include <cstddef>
#include <utility>

namespace zarnik::python {

/// Adds functions to zarnik._direct when the module is imported. One static object in each file that defines some:
/// \code
/// PyMethodDef methods[] = {{"name", function, METH_VARARGS, "Documentation."}, {}};
/// DirectFunctions const registered(methods);
/// \endcode
class DirectFunctions {
public:
  /// \param methods  ends with an empty entry, and lives as long as the process
  explicit DirectFunctions(PyMethodDef * methods);
};

/// Calls a function that gives a Python object. Whatever it throws becomes a pending Python error, and null.
template <typename Call> PyObject * guarded(Call call) {
  try {
    return call();
  } catch (...) {
    translateException();
    return nullptr;
  }
}

/// To be thrown where a Python error is pending already.
struct PendingError {};

/// The arguments of a call that takes exactly so many. \throws PendingError with TypeError pending if there are others
template <size_t COUNT> std::array<PyObject *, COUNT> unpacked(PyObject * arguments, char const * function) {
  std::array<PyObject *, COUNT> objects{};
  auto const unpack = [&]<size_t... I>(std::index_sequence<I...>) {
    return PyArg_UnpackTuple(arguments, function, COUNT, COUNT, &objects[I]...);
  };
  if (!unpack(std::make_index_sequence<COUNT>()))
    throw PendingError();
  return objects;
}

} // namespace zarnik::python
