#pragma once

#include "module/Errors.h"
#include "module/Runtime.h"

namespace zarnik::python {

/// A wrapped copy of a library value, owned by Python; null with an error pending when it cannot be made.
template <typename T> PyObject * wrapCopy(T const & value, swig_type_info * type) {
  try {
    return wrapOwned(new T(value), type);
  } catch (...) {
    translateException();
    return nullptr;
  }
}

} // namespace zarnik::python
