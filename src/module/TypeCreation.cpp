#include "module/TypeCreation.h"

#include "module/Reference.h"

#include <vector>

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

PyObject * refuseToCreate(PyTypeObject * type, PyObject *, PyObject *) {
  auto const name = Reference::steal(PyObject_GetAttrString(reinterpret_cast<PyObject *>(type), "__name__"));
  if (name)
    PyErr_Format(PyExc_TypeError, "cannot create '%S' instances", name.get());
  return nullptr;
}

PyObject * createType(PyType_Spec * spec) {
  auto const manager = silenceWarnings();
  PyErr_Clear();
  std::vector<PyType_Slot> slots;
  for (auto const * slot = spec->slots; slot->slot; ++slot)
    slots.push_back(*slot);
  slots.push_back({Py_tp_new, reinterpret_cast<void *>(refuseToCreate)});
  slots.push_back({0, nullptr});
  auto guarded = *spec;
  guarded.slots = slots.data();
  guarded.flags &= ~static_cast<unsigned>(Py_TPFLAGS_BASETYPE);
  auto type = Reference::steal(PyType_FromSpec(&guarded));
  if (manager && !Reference::steal(PyObject_CallMethod(manager.get(), "__exit__", "OOO", Py_None, Py_None, Py_None)))
    return nullptr;
  return type.release();
}

} // namespace zarnik::python
