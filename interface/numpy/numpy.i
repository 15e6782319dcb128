// NumPy's C interface is imported here, after every constant but those that follow.
%header %{
#include "module/NumpyApi.h"
#include "numpy/NumpyInterop.h"

namespace zarnik::python {

std::shared_ptr<ImageView> wrappedImageView(PyObject *object) {
  void *held = nullptr;
  int ownership = 0;
  if (object == Py_None ||
      !SWIG_IsOK(SWIG_ConvertPtrAndOwn(object, &held, SWIGTYPE_p_std__shared_ptrT_zarnik__ImageView_t, 0, &ownership)))
    return nullptr;
  auto *const shared = static_cast<std::shared_ptr<ImageView> *>(held);
  if (!shared)
    return nullptr;
  auto view = *shared;
  // Set when the wrapped object is of a derived class: the conversion then made a shared pointer of its own.
  if (ownership & SWIG_CAST_NEW_MEMORY)
    delete shared;
  return view;
}

} // namespace zarnik::python
%}

%init %{
  if (!zarnik::python::importNumpy()) {
    return NULL;
  }
%}

%typemap(doctype) PyObject *image ":py:class:`ImageView`"
%typemap(doctype) PyObject *toNumpyArray, PyObject *orderToNumpyArray "numpy.ndarray"

// What is wrong with an array is told before what is wrong with the arguments behind it. A list of dimensions is looked
// at even before the array that it comes with, which is const there to be told apart.
%typemap(in, noblock=1) PyObject *np {
  if (!zarnik::python::requireArray($input)) SWIG_fail;
  $1 = $input;
}
%typemap(in, noblock=1) PyObject *const np {
  $1 = $input;
}
%typemap(in, noblock=1) (zarnik::ImageDimension const *dimensionList, size_t axisCount) (std::vector<zarnik::ImageDimension> dimensions) {
  if (!zarnik::python::readAxes($input, dimensions) || !zarnik::python::requireArray(swig_obj[0])) SWIG_fail;
  $1 = dimensions.data();
  $2 = dimensions.size();
}

%rename(_from_numpy_array) zarnik::NumpyInterop::fromNumpyArray;
%rename(_order_from_numpy_array) zarnik::NumpyInterop::orderFromNumpyArray;

// These raise Python errors of their own.
%define %pending_error_check(METHOD)
%exception METHOD {
  try {
    $action
  } catch (...) {
    zarnik::python::translateException();
    SWIG_fail;
  }
  if (PyErr_Occurred()) SWIG_fail;
}
%enddef
%pending_error_check(zarnik::NumpyInterop::toNumpyArray)
%pending_error_check(zarnik::NumpyInterop::orderToNumpyArray)

%include "numpy/NumpyInterop.h"
