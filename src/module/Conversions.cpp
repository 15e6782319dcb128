#include "module/Conversions.h"

#include "zarnik/values/DataType.h"
#include "zarnik/values/ImageType.h"

#include <algorithm>
#include <limits>
#include <string_view>

namespace zarnik::python {

void HeldError::take() {
  if (value_)
    PyErr_Clear();
  if (!PyErr_Occurred())
    return;
  PyObject * type = nullptr;
  PyObject * value = nullptr;
  PyObject * traceback = nullptr;
  PyErr_Fetch(&type, &value, &traceback);
  PyErr_NormalizeException(&type, &value, &traceback);
  Reference::steal(type);
  Reference::steal(traceback);
  value_ = Reference::steal(value);
}

void HeldError::settle(PyObject *& result, char const * wrapper, Unfit unfit) {
  if (!value_ || PyErr_Occurred())
    return;
  // An operator such as __iadd__ has moved ownership from its object to the result: without the latter nobody owns it,
  // as after any other failure, but the object stays valid.
  if (result && isInPlaceOperator(wrapper))
    disown(result);
  Reference::steal(std::exchange(result, nullptr));
  bool const isUnfit =
      PyErr_GivenExceptionMatches(value_.get(), PyExc_TypeError) ||
      (unfit == Unfit::TYPE_OR_RANGE && PyErr_GivenExceptionMatches(value_.get(), PyExc_OverflowError));
  if (isUnfit && isOperator(wrapper) && !isInPlaceOperator(wrapper)) {
    result = Reference::share(Py_NotImplemented).release();
    return;
  }
  // What Python makes of a result with an error left pending, and callers know it so. Left to Python it would depend
  // on the way of the call: some calls do not look for an error beside a result, which then strikes somewhere else.
  PyErr_Format(PyExc_SystemError, "<built-in function %s> returned a result with an exception set", wrapper);
  HeldError raised;
  raised.take();
  PyException_SetCause(raised.value_.get(), Reference(value_).release());
  PyException_SetContext(raised.value_.get(), value_.release());
  PyErr_SetObject(PyExc_SystemError, raised.value_.get());
}

int32_t readLong32(PyObject * object) {
  int overflow = 0;
  auto const value = PyLong_AsLongLongAndOverflow(object, &overflow);
  if (value == -1 && !overflow && PyErr_Occurred())
    return -1;
  if (overflow || value < std::numeric_limits<int32_t>::min() || value > std::numeric_limits<int32_t>::max()) {
    PyErr_SetString(PyExc_OverflowError, "Python int too large to convert to C long");
    return -1;
  }
  return static_cast<int32_t>(value);
}

DataType readDataType(PyObject * object, swig_type_info * dataTypeInfo, HeldError & held) {
  if (object != Py_None)
    if (auto const * const wrapped = wrappedPointer(object, dataTypeInfo))
      return *static_cast<DataType const *>(wrapped);
  auto const id = readLong32(object);
  if (id == -1)
    held.take();
  return DataType(static_cast<uint64_t>(int64_t{id}));
}

bool isDataType(PyObject * object, swig_type_info * dataTypeInfo) {
  return PyLong_Check(object) || (object != Py_None && wrappedPointer(object, dataTypeInfo));
}

bool readImageDimensions(PyObject * object, std::vector<ImageDimension> & dimensions) {
  if (!PySequence_Check(object)) {
    PyErr_SetString(PyExc_TypeError, "not a list");
    return false;
  }
  auto const size = PySequence_Size(object);
  if (size < 0)
    return false;
  // More than any array has axes are too many, however many they are.
  constexpr Py_ssize_t limit = 100;
  try {
    for (Py_ssize_t i = 0; i < std::min(size, limit); ++i) {
      auto const item = Reference::steal(PySequence_GetItem(object, i));
      if (!item)
        return false;
      if (!PyLong_Check(item.get())) {
        PyErr_SetString(PyExc_TypeError, "list must contain ImageDimension");
        return false;
      }
      auto const dimension = readLong32(item.get());
      if (dimension == -1 && PyErr_Occurred())
        return false;
      dimensions.push_back(static_cast<ImageDimension>(dimension));
    }
  } catch (...) {
    translateException();
    return false;
  }
  return true;
}

bool isOperator(char const * wrapper) {
  std::string_view const name(wrapper);
  return name.length() > 4 && name.ends_with("__") && name.find("__") != name.length() - 2 &&
         !name.ends_with("__call__");
}

bool isInPlaceOperator(char const * wrapper) { return isOperator(wrapper) && std::strstr(wrapper, "___i"); }

bool isVector(PyObject * object, swig_type_info * vectorInfo) {
  if (object == Py_None || PyUnicode_Check(object))
    return false;
  return wrappedPointer(object, vectorInfo) || PySequence_Check(object);
}

bool SequenceReader::open(PyObject * object, char const * wrapper) {
  if (PyUnicode_Check(object) && isOperator(wrapper)) {
    PyErr_SetString(PyExc_TypeError, "a str is no operand of vector arithmetic");
    return false;
  }
  if (!PySequence_Check(object)) {
    PyErr_SetString(PyExc_ValueError, "input must be a sequence");
    return false;
  }
  auto const size = PySequence_Size(object);
  if (size < 0) {
    PyErr_Clear();
    PyErr_SetString(PyExc_ValueError, "input sequence must be sized");
    return false;
  }
  object_ = object;
  size_ = static_cast<std::size_t>(size);
  kind_ = PyTuple_CheckExact(object) ? Kind::TUPLE : PyList_CheckExact(object) ? Kind::LIST : Kind::OTHER;
  return true;
}

Reference SequenceReader::item(std::size_t index) const {
  auto const position = static_cast<Py_ssize_t>(index);
  switch (kind_) {
  case Kind::TUPLE:
    return Reference::share(PyTuple_GetItem(object_, position));
  case Kind::LIST:
    return Reference::share(PyList_GetItem(object_, position));
  default:
    return Reference::steal(PySequence_GetItem(object_, position));
  }
}

} // namespace zarnik::python
