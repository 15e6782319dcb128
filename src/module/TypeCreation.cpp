#include "module/TypeCreation.h"

#include "module/Reference.h"

#undef PyType_FromSpec

namespace zarnik::python {

namespace {

// Warnings of deprecation are not shown as long as the context manager that this returns is not left. Null when the
// interpreter, being taken down, has no warnings any more.
Reference silenceWarnings() {
  auto const warnings = Reference::steal(PyImport_ImportModule("warnings"));
  if (!warnings)
    return {};
  auto manager = Reference::steal(PyObject_CallMethod(warnings.get(), "catch_warnings", nullptr));
  if (!manager || !Reference::steal(PyObject_CallMethod(manager.get(), "__enter__", nullptr)))
    return {};
  Reference::steal(PyObject_CallMethod(warnings.get(), "simplefilter", "sO", "ignore", PyExc_DeprecationWarning));
  return manager;
}

} // namespace

PyObject * createType(PyType_Spec * spec) {
  auto const manager = silenceWarnings();
  PyErr_Clear();
  auto type = Reference::steal(PyType_FromSpec(spec));
  if (manager && !Reference::steal(PyObject_CallMethod(manager.get(), "__exit__", "OOO", Py_None, Py_None, Py_None)))
    return nullptr;
  return type.release();
}

} // namespace zarnik::python
