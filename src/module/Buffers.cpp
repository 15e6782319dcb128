#include "module/Buffers.h"

#include "module/NumpyApi.h"

namespace zarnik::python {

namespace {

// Only an owner that can move its memory has to be stopped. Arrays of NumPy and bytes cannot, and a view of memory
// holds what it shows already.
bool pin(PyObject * object, Reference & pinned) {
  if (PyBytes_CheckExact(object) || PyArray_CheckExact(object) || Py_TYPE(object) == &PyMemoryView_Type) {
    pinned = Reference::share(object);
    return true;
  }
  pinned = Reference::steal(PyMemoryView_FromObject(object));
  return static_cast<bool>(pinned);
}

// References to Python objects are no bytes: whoever writes over them ends the process. Memory of the other kinds that
// are met all the time is known to hold none. In the format of a structure colons enclose the names.
bool holdsObjects(PyObject * owner, PyObject * pinned) {
  if (PyArray_CheckExact(pinned)) {
    auto * const dtype = PyArray_DESCR(reinterpret_cast<PyArrayObject *>(pinned));
    if (dtype->type_num < NPY_OBJECT)
      return false;
    auto const holds = Reference::steal(PyObject_GetAttrString(reinterpret_cast<PyObject *>(dtype), "hasobject"));
    return !holds || PyObject_IsTrue(holds.get()) != 0;
  }
  if (PyBytes_CheckExact(owner) || PyByteArray_CheckExact(owner))
    return false;
  auto const format = Reference::steal(PyObject_GetAttrString(pinned, "format"));
  auto const text = Reference::steal(format ? PyObject_ASCII(format.get()) : nullptr);
  auto const bytes = Reference::steal(text ? PyUnicode_AsUTF8String(text.get()) : nullptr);
  if (!bytes)
    return true;
  bool inName = false;
  for (char const * letter = PyBytes_AsString(bytes.get()); *letter; ++letter) {
    inName ^= *letter == ':';
    if (*letter == 'O' && !inName)
      return true;
  }
  return false;
}

template <typename Byte, typename Read> bool readBuffer(PyObject * object, Buffer<Byte> & buffer, Read && read) {
  Py_ssize_t size = 0;
  if (!pin(object, buffer.pin) || holdsObjects(object, buffer.pin.get()) ||
      read(buffer.pin.get(), &buffer.data, &size) != 0) {
    PyErr_Clear();
    return false;
  }
  buffer.size = static_cast<std::size_t>(size);
  return true;
}

} // namespace

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations" // the limited interface of Python 3.9 has no other way
bool readWritableBuffer(PyObject * object, Buffer<void> & buffer) {
  return readBuffer(object, buffer, PyObject_AsWriteBuffer);
}

bool readReadableBuffer(PyObject * object, Buffer<void const> & buffer) {
  return readBuffer(object, buffer, PyObject_AsReadBuffer);
}
#pragma GCC diagnostic pop

} // namespace zarnik::python
