#include "module/Registration.h"

#undef PyType_GetSlot
#undef PyCFunction_GetFlags
#undef PyObject_CallFunctionObjArgs

#include "module/TypeCreation.h"

#undef PyType_FromSpec

#include <swigpyrun.h>

namespace zarnik::python {

void * slotOf(PyTypeObject * type, int slot) {
  auto * const found = PyType_GetSlot(type, slot);
  return found ? found : reinterpret_cast<void *>(refuseToCreate);
}

int destructorFlags(PyObject * destructor) {
  if (!PyCFunction_CheckExact(destructor))
    return 0;
  auto * const module = PyCFunction_GetSelf(destructor);
  return module && PyModule_Check(module) ? PyCFunction_GetFlags(destructor) : 0;
}

PyObject * callDestructor(PyObject * destructor, PyObject * holder, void *) {
  auto & own = reinterpret_cast<SwigPyObject *>(holder)->own;
  own = SWIG_POINTER_OWN;
  auto * const result = PyObject_CallFunctionObjArgs(destructor, holder, nullptr);
  // What was not destroyed stays without an owner.
  own = 0;
  return result;
}

} // namespace zarnik::python
