#pragma once

#include "module/Python.h"
#include "zarnik/values/ArrayX.h"
#include "zarnik/values/ElementTypes.h"

namespace zarnik::python {

/// A NumPy array over the memory of an array, with `owner` as its base object.
/// Null with an error pending when NumPy refuses, such as for too many dimensions.
template <typename T> PyObject * toNumpy(ArrayX<T> & array, PyObject * owner);

/// A copy of a contiguous NumPy array.
/// An array of another element type or without contiguity sets ValueError and still gives an array of its shape:
/// the interpreter reports the pending error when the call returns.
/// \throws Error "Unsupported numpy data type" for element types that no array class has
/// Null with TypeError pending when the object is no NumPy array.
template <typename T> ArrayX<T> * fromNumpy(PyObject * object);

#define ZARNIK_ARRAYS(type, suffix)                                                                                    \
  extern template PyObject * toNumpy(ArrayX<type> &, PyObject *);                                                      \
  extern template ArrayX<type> * fromNumpy(PyObject *);
ZARNIK_FOR_EACH_ELEMENT_TYPE(ZARNIK_ARRAYS)
#undef ZARNIK_ARRAYS

} // namespace zarnik::python
