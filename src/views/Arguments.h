#pragma once

#include "module/Python.h"
#include "module/Runtime.h"
#include "zarnik/core/FlagSet.h"
#include "zarnik/values/VectorX.h"

#include <cstdint>

namespace zarnik::python {

/// How the conversion of an argument ended, in the generator's codes.
enum ConversionResult : int { CONVERTED = 0, WRONG_TYPE = -5, OUT_OF_RANGE = -7 };

/// A mask of flags from an int, read as a signed 32-bit value and sign-extended: -1 stands for all flags.
ConversionResult readMask(PyObject * object, uint64_t & mask);

/// A set of flags from a wrapped set or from a mask.
template <typename E> ConversionResult readFlags(PyObject * object, swig_type_info * setType, FlagSet<E> & flags) {
  if (auto const * const wrapped = wrappedPointer(object, setType)) {
    flags = *static_cast<FlagSet<E> const *>(wrapped);
    return CONVERTED;
  }
  uint64_t mask = 0;
  auto const result = readMask(object, mask);
  flags = FlagSet<E>(mask);
  return result;
}

/// The position of an element, from a wrapped vector or a sequence of unsigned 64-bit ints.
/// Null, with an error pending, when it is neither; else the wrapped vector itself, or `temporary`, which was filled.
VectorXu64 * readIndex(PyObject * object, VectorXu64 & temporary, swig_type_info * vectorType);

} // namespace zarnik::python
