#include "module/TypeCreation.h"

#include "module/Reference.h"

#undef PyType_FromSpec

namespace zarnik::python {

PyObject * createType(PyType_Spec * spec) {
  auto const warnings = Reference::steal(PyImport_ImportModule("warnings"));
  if (!warnings)
    return nullptr;
  auto const filters = Reference::steal(PyObject_CallMethod(warnings.get(), "catch_warnings", nullptr));
  if (!filters || !Reference::steal(PyObject_CallMethod(filters.get(), "__enter__", nullptr)))
    return nullptr;
  auto const ignored =
      Reference::steal(PyObject_CallMethod(warnings.get(), "simplefilter", "sO", "ignore", PyExc_DeprecationWarning));
  auto type = Reference::steal(ignored ? PyType_FromSpec(spec) : nullptr);
  auto const restored =
      Reference::steal(PyObject_CallMethod(filters.get(), "__exit__", "OOO", Py_None, Py_None, Py_None));
  return restored ? type.release() : nullptr;
}

} // namespace zarnik::python
