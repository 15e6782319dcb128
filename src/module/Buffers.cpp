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

template <typename Byte, typename Read> bool readBuffer(PyObject * object, Buffer<Byte> & buffer, Read && read) {
  Py_ssize_t size = 0;
  if (!pin(object, buffer.pin) || read(buffer.pin.get(), &buffer.data, &size) != 0) {
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
