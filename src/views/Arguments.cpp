#include "views/Arguments.h"

#include "module/Conversions.h"

namespace zarnik::python {

ConversionResult readMask(PyObject * object, uint64_t & mask) {
  if (!PyLong_Check(object))
    return WRONG_TYPE;
  auto const value = readLong32(object);
  if (value == -1 && PyErr_Occurred()) {
    PyErr_Clear();
    return OUT_OF_RANGE;
  }
  mask = static_cast<uint64_t>(int64_t{value});
  return CONVERTED;
}

VectorXu64 * readIndex(PyObject * object, VectorXu64 & temporary, swig_type_info * vectorType) {
  if (auto * const wrapped = wrappedPointer(object, vectorType))
    return static_cast<VectorXu64 *>(wrapped);
  try {
    SequenceReader sequence;
    if (!sequence.open(object, ""))
      return nullptr;
    temporary = VectorXu64(sequence.size());
    for (std::size_t i = 0; i < sequence.size(); ++i) {
      auto const item = sequence.item(i);
      if (!item)
        return nullptr;
      auto const isInt = PyLong_Check(item.get());
      temporary[i] = isInt ? PyLong_AsUnsignedLongLong(item.get()) : 0;
      if (!isInt || PyErr_Occurred()) {
        PyErr_SetString(PyExc_TypeError, "invalid item in sequence - expected long value");
        return nullptr;
      }
    }
    return &temporary;
  } catch (...) {
    translateException();
    return nullptr;
  }
}

} // namespace zarnik::python
