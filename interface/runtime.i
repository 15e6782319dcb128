// What hand-written code needs of the generator's runtime, see module/Runtime.h.
%header %{
// A null reference is an error of the value, not of the type: the wrappers raise ValueError for it.
#undef SWIG_NullReferenceError
#define SWIG_NullReferenceError SWIG_ValueError

#include "module/Conversions.h"
#include "module/Errors.h"
#include "module/Holders.h"
#include "module/Runtime.h"
#include "module/Self.h"
#include "values/Results.h"

// The import begins in module/Module.cpp.
#undef SWIG_init
#define SWIG_init zarnikCreateFlatModule

namespace zarnik::python {

#undef SWIG_ConvertPtr
#define SWIG_ConvertPtr(object, pointer, type, flags)                                                                  \
  zarnik::python::convertPointer(object, pointer, type, flags, nullptr)
#undef SWIG_ConvertPtrAndOwn
#define SWIG_ConvertPtrAndOwn(object, pointer, type, flags, owned)                                                     \
  zarnik::python::convertPointer(object, pointer, type, flags, owned)

PyObject *wrapOwned(void *pointer, swig_type_info *type) { return SWIG_NewPointerObj(pointer, type, SWIG_POINTER_OWN); }

void raiseWrapped(PyObject *object, swig_type_info *type) { SWIG_Python_Raise(object, "", type); }

swig_type_info *errorType() { return SWIGTYPE_p_zarnik__Error; }

PyObject *wrapLent(void *pointer, swig_type_info *type) { return SWIG_NewPointerObj(pointer, type, 0); }

PyObject *holdOwned(void *pointer, swig_type_info *type) {
  return SWIG_NewPointerObj(pointer, type, SWIG_POINTER_OWN | SWIG_POINTER_NOSHADOW);
}

#define SWIG_Python_InitShadowInstance zarnik::python::initShadowInstance

// The dispatcher of an overloaded operator gives NotImplemented for a wrong number of arguments, too, but forgets to
// take back the error.
inline Py_ssize_t unpackArguments(PyObject *arguments, char const *wrapper, Py_ssize_t least, Py_ssize_t most,
                                  PyObject **unpacked) {
  auto const count = SWIG_Python_UnpackTuple(arguments, wrapper, least, most, unpacked);
  if (!count && isOperator(wrapper) && !isInPlaceOperator(wrapper) && PyErr_ExceptionMatches(PyExc_TypeError))
    PyErr_Clear();
  return count;
}
#define SWIG_Python_UnpackTuple zarnik::python::unpackArguments

} // namespace zarnik::python
%}

%init %{
  zarnik::python::setHolderType(SwigPyObject_type());
  zarnik::python::guardHolderMethods(swigobject_methods);
%}
