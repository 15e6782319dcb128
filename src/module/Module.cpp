// The module's own start, before that of the generated code: types are the process's, so that a second interpreter
// would take the classes of the first one away.

#include "module/Reference.h"
#include "module/Waiting.h"

extern "C" PyObject * zarnikCreateFlatModule();

namespace zarnik::python {

namespace {

PyObject * create(PyObject *, PyModuleDef *) {
  // Created once: what a second import in the same interpreter gets is the same module.
  static PyObject * module = nullptr;
  if (PyInterpreterState_GetID(PyInterpreterState_Get()) != 0) {
    PyErr_SetString(PyExc_ImportError, "_zarnik can only be imported in the main interpreter of a process");
    return nullptr;
  }
  if (!module) {
    giveUpLockInWaits();
    module = zarnikCreateFlatModule();
  }
  return Reference::share(module).release();
}

PyModuleDef_Slot slots[] = {{Py_mod_create, reinterpret_cast<void *>(create)}, {0, nullptr}};

PyModuleDef definition = {PyModuleDef_HEAD_INIT, "_zarnik", nullptr, 0, nullptr, slots, nullptr, nullptr, nullptr};

} // namespace

} // namespace zarnik::python

// NOLINTNEXTLINE(bugprone-reserved-identifier): the interpreter looks for this name
PyMODINIT_FUNC PyInit__zarnik() { return PyModuleDef_Init(&zarnik::python::definition); }
