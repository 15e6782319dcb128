// What hand-written code needs of the generator's runtime, see module/Runtime.h.
%header %{
// A null reference is an error of the value, not of the type: the wrappers raise ValueError for it.
#undef SWIG_NullReferenceError
#define SWIG_NullReferenceError SWIG_ValueError

#include "module/Conversions.h"
#include "module/Errors.h"
#include "module/Runtime.h"

namespace zarnik::python {

void *wrappedPointer(PyObject *object, swig_type_info *type) {
  void *pointer = nullptr;
  return SWIG_IsOK(SWIG_ConvertPtr(object, &pointer, type, 0)) ? pointer : nullptr;
}

PyObject *wrapOwned(void *pointer, swig_type_info *type) { return SWIG_NewPointerObj(pointer, type, SWIG_POINTER_OWN); }

void raiseWrapped(PyObject *object, swig_type_info *type) { SWIG_Python_Raise(object, "", type); }

swig_type_info *errorType() { return SWIGTYPE_p_zarnik__Error; }

void *readSelf(PyObject *object, swig_type_info *type, int disown, char const *method, char const *typeText) {
  void *pointer = nullptr;
  auto const status = SWIG_ConvertPtr(object, &pointer, type, isDestructor(method) ? SWIG_POINTER_RELEASE : disown);
  if (status == SWIG_ERROR_RELEASE_NOT_OWNED)
    PyErr_Format(SWIG_Python_ErrorType(status),
                 "in method '%s', cannot release ownership as memory is not owned for argument 1 of type '%s'", method,
                 typeText);
  else if (!SWIG_IsOK(status))
    PyErr_Format(SWIG_Python_ErrorType(SWIG_ArgError(status)), "in method '%s', argument 1 of type '%s'", method,
                 typeText);
  else if (!pointer)
    PyErr_Format(PyExc_ValueError, "invalid null reference in method '%s', argument 1 of type '%s'", method, typeText);
  return SWIG_IsOK(status) ? pointer : nullptr;
}

void forgetPointer(PyObject *object) {
  void *pointer = nullptr;
  SWIG_ConvertPtr(object, &pointer, nullptr, SWIG_POINTER_CLEAR | SWIG_POINTER_DISOWN);
}

} // namespace zarnik::python
%}
