#include "module/CausedError.h"

#include <fmt/format.h>

namespace zarnik::python {

namespace {

std::string withCause(std::string const & what) {
  PyObject * type = nullptr;
  PyObject * value = nullptr;
  PyObject * traceback = nullptr;
  PyErr_Fetch(&type, &value, &traceback);
  PyErr_NormalizeException(&type, &value, &traceback);
  auto const text = textOf(value);
  auto const name = type ? Reference::steal(PyObject_GetAttrString(type, "__name__")) : Reference();
  auto message = fmt::format("{}: {}: {}", what, textOf(name.get()), text);
  PyErr_Restore(type, value, traceback);
  return message;
}

} // namespace

std::string textOf(PyObject * object) {
  auto const text = Reference::steal(object ? PyObject_Str(object) : nullptr);
  auto const encoded = text ? Reference::steal(PyUnicode_AsEncodedString(text.get(), "utf-8", "replace")) : Reference();
  char * bytes = nullptr;
  Py_ssize_t size = 0;
  bool const isText = encoded && PyBytes_AsStringAndSize(encoded.get(), &bytes, &size) == 0;
  PyErr_Clear();
  return isText ? std::string(bytes, static_cast<size_t>(size)) : "an exception without a text";
}

CausedError::CausedError(std::string const & what, Seen seen) : Error(withCause(what)), seen_(seen) {
  PyObject * type = nullptr;
  PyObject * value = nullptr;
  PyObject * traceback = nullptr;
  PyErr_Fetch(&type, &value, &traceback);
  PyErr_NormalizeException(&type, &value, &traceback);
  if (value && traceback)
    PyException_SetTraceback(value, traceback);
  Py_XDECREF(type);
  Py_XDECREF(traceback);
  cause_ = std::make_shared<KeptObject>(Reference::steal(value));
}

void CausedError::restore() const {
  auto * const cause = cause_->get();
  if (!cause)
    return;
  if (seen_ == Seen::AS_ITSELF || !PyObject_IsInstance(cause, PyExc_Exception)) {
    PyErr_Clear();
    PyErr_SetObject(reinterpret_cast<PyObject *>(Py_TYPE(cause)), cause);
    return;
  }
  PyObject * type = nullptr;
  PyObject * value = nullptr;
  PyObject * traceback = nullptr;
  PyErr_Fetch(&type, &value, &traceback);
  PyErr_NormalizeException(&type, &value, &traceback);
  if (value && PyExceptionInstance_Check(value))
    PyException_SetCause(value, Reference::share(cause).release());
  PyErr_Restore(type, value, traceback);
}

} // namespace zarnik::python
