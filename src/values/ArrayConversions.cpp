#include "values/ArrayConversions.h"

#include "module/Conversions.h"
#include "module/Exports.h"
#include "module/NumpyApi.h"
#include "module/Reference.h"
#include "numpy/NumpyTypes.h"
#include "zarnik/core/Error.h"

#include <cstring>
#include <memory>
#include <vector>

namespace zarnik::python {

template <typename T> PyObject * toNumpy(ArrayX<T> & array, PyObject * owner) {
  auto const & indexer = array.indexer();
  auto const type = indexer.dtype();
  std::vector<npy_intp> dimensions;
  std::vector<npy_intp> strides;
  for (size_t axis = 0; axis != indexer.dimensionCount(); ++axis) {
    dimensions.push_back(static_cast<npy_intp>(indexer.shape(axis)));
    strides.push_back(static_cast<npy_intp>(indexer.stride(axis) * type.byteCount()));
  }
  auto result = Reference::steal(PyArray_New(&PyArray_Type, static_cast<int>(dimensions.size()), dimensions.data(),
                                             numpyTypeOf(type), strides.data(), array.data(),
                                             static_cast<int>(type.byteCount()), NPY_ARRAY_FARRAY, nullptr));
  // Who is told as the owner need not keep the array, or may let go of it.
  if (!result || !Exports::add(&array, result.get()))
    return nullptr;
  auto base = Reference::share(owner);
  if (PyArray_SetBaseObject(reinterpret_cast<PyArrayObject *>(result.get()), base.release()) != 0)
    return nullptr;
  return result.release();
}

namespace {
void failLate(char const * text, char const * wrapper) {
  PyErr_SetString(PyExc_ValueError, text);
  HeldError held;
  held.take();
  PyObject * noResult = nullptr;
  held.settle(noResult, wrapper);
}
} // namespace

template <typename T> ArrayX<T> * fromNumpy(PyObject * object, char const * wrapper) {
  if (!PyArray_Check(object)) {
    PyErr_Format(PyExc_TypeError, "a numpy array is needed, not %R", Py_TYPE(object));
    return nullptr;
  }
  auto * const source = reinterpret_cast<PyArrayObject *>(object);
  VectorXu64 shape(static_cast<size_t>(PyArray_NDIM(source)));
  for (size_t axis = 0; axis != shape.size(); ++axis)
    shape[axis] = static_cast<uint64_t>(PyArray_DIM(source, static_cast<int>(axis)));

  auto const type = dataTypeOfNumpy(PyArray_TYPE(source));
  // The bytes would be taken for those of other numbers.
  if (PyArray_ISBYTESWAPPED(source))
    throw Error("Unsupported numpy data type");
  if (type != DataType(dataTypeIdOf<T>)) {
    failLate("numpy array data type do not match", wrapper);
    return nullptr;
  }
  auto const isC = PyArray_IS_C_CONTIGUOUS(source);
  if (!isC && !PyArray_IS_F_CONTIGUOUS(source)) {
    failLate("numpy array has unsupported flags", wrapper);
    return nullptr;
  }
  auto result = std::make_unique<ArrayX<T>>(Indexer(shape, type, isC ? MemoryLayout::C : MemoryLayout::FORTRAN));
  if (auto const count = result->indexer().elementCount(); count != 0)
    std::memcpy(result->data(), PyArray_DATA(source), count * sizeof(T));
  return result.release();
}

#define ZARNIK_ARRAYS(type, suffix)                                                                                    \
  template PyObject * toNumpy(ArrayX<type> &, PyObject *);                                                             \
  template ArrayX<type> * fromNumpy(PyObject *, char const *);
ZARNIK_FOR_EACH_ELEMENT_TYPE(ZARNIK_ARRAYS)

} // namespace zarnik::python
