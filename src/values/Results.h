#pragma once

#include "module/Errors.h"
#include "module/Runtime.h"

#include <memory>
#include <utility>

namespace zarnik::python {

/// A wrapped copy of a library value, owned by Python; null with an error pending when it cannot be made.
template <typename T> PyObject * wrapCopy(T const & value, swig_type_info * type) {
  try {
    auto copy = std::make_unique<T>(value);
    auto * const object = wrapOwned(copy.get(), type);
    if (object)
      copy.release();
    return object;
  } catch (...) {
    translateException();
    return nullptr;
  }
}

/// A wrapped object, owned by Python, that a result of a call moves to; null with an error pending when it cannot be
/// made.
template <typename T> PyObject * wrapMoved(T * value, swig_type_info * type) {
  try {
    auto moved = std::make_unique<T>(std::move(*value));
    auto * const object = wrapOwned(moved.get(), type);
    if (object)
      moved.release();
    return object;
  } catch (...) {
    translateException();
    return nullptr;
  }
}

} // namespace zarnik::python
