#pragma once

#include "module/Python.h"
#include "zarnik/values/ArrayX.h"
#include "zarnik/values/ElementTypes.h"

namespace zarnik::python {

/// A NumPy array over the memory of an array, with `owner` as its base object. The array lives as long as the NumPy
/// array even if the wrapped object that has it is destroyed before. Null with an error pending when NumPy refuses,
/// such as for too many dimensions.
template <typename T> PyObject * toNumpy(ArrayX<T> & array, PyObject * owner);

/// A copy of a contiguous NumPy array. Null with an error pending: TypeError when the object is no NumPy array, and
/// SystemError caused by ValueError, as callers know it, for an array of another element type or not contiguous.
/// \param wrapper name of the Python function, for the message
/// \throws Error "Unsupported numpy data type" for element types that no array class has
template <typename T> ArrayX<T> * fromNumpy(PyObject * object, char const * wrapper);

#define ZARNIK_ARRAYS(type, suffix)                                                                                    \
  extern template PyObject * toNumpy(ArrayX<type> &, PyObject *);                                                      \
  extern template ArrayX<type> * fromNumpy(PyObject *, char const *);
ZARNIK_FOR_EACH_ELEMENT_TYPE(ZARNIK_ARRAYS)
#undef ZARNIK_ARRAYS

} // namespace zarnik::python
