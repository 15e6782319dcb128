#include "direct/Functions.h"
#include "direct/RegionReader.h"
#include "direct/RegionTransfer.h"
#include "direct/TypeTable.h"
#include "module/Buffers.h"
#include "module/NumpyApi.h"
#include "zarnik/core/Error.h"
#include "zarnik/layout/Threads.h"
#include "zarnik/values/Checked.h"
#include "zarnik/views/ImageView.h"
#include "zarnik/views/TypedTransfer.h"

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

namespace zarnik::python {

namespace {

PyObject * tupleOf(VectorXu64 const & vector) {
  auto tuple = Reference::steal(PyTuple_New(static_cast<Py_ssize_t>(vector.size())));
  for (size_t i = 0; tuple && i < vector.size(); ++i) {
    auto * const component = PyLong_FromUnsignedLongLong(vector[i]);
    if (!component || PyTuple_SetItem(tuple.get(), static_cast<Py_ssize_t>(i), component) != 0)
      return nullptr;
  }
  return tuple.release();
}

PyObject * geometry(PyObject *, PyObject * image) {
  return guarded([&]() -> PyObject * {
    auto const view = viewOf(image);
    auto const kind = kindOf(*view);
    auto sizes = Reference::steal(tupleOf(view->shape()));
    return sizes ? Py_BuildValue("KKN", static_cast<unsigned long long>(kind.axes),
                                 static_cast<unsigned long long>(kind.dataType), sizes.release())
                 : nullptr;
  });
}

PyObject * corners(PyObject *, PyObject * object) {
  return guarded([&]() -> PyObject * {
    auto const & region = regionOf(object);
    auto origin = Reference::steal(tupleOf(region.origin()));
    auto size = Reference::steal(tupleOf(region.size()));
    return origin && size ? Py_BuildValue("NN", origin.release(), size.release()) : nullptr;
  });
}

VectorXu64 vectorOf(PyObject * sequence) {
  auto const size = PySequence_Size(sequence);
  if (size < 0)
    throw PendingError();
  VectorXu64 vector(static_cast<size_t>(size));
  for (Py_ssize_t i = 0; i < size; ++i) {
    auto const item = Reference::steal(PySequence_GetItem(sequence, i));
    if (!item)
      throw PendingError();
    vector[static_cast<size_t>(i)] = PyLong_AsUnsignedLongLong(item.get());
    if (PyErr_Occurred())
      throw PendingError();
  }
  return vector;
}

RegionXu64 regionBetween(PyObject * origin, PyObject * size) {
  auto const first = vectorOf(origin);
  return {first, vectorOf(size)};
}

PyObject * readRegionOf(PyObject *, PyObject * arguments) {
  return guarded([&]() -> PyObject * {
    PyObject * image = nullptr;
    PyObject * first = nullptr;
    PyObject * second = nullptr;
    if (!PyArg_UnpackTuple(arguments, "read_region", 2, 3, &image, &first, &second))
      return nullptr;
    auto const view = viewOf(image);
    auto array = readRegion(view, second ? regionBetween(first, second) : regionOf(first));
    return array ? array.release() : Reference::share(Py_None).release();
  });
}

PyObject * readElementOf(PyObject *, PyObject * arguments) {
  return guarded([&]() -> PyObject * {
    PyObject * image = nullptr;
    PyObject * key = nullptr;
    if (!PyArg_UnpackTuple(arguments, "read_element", 2, 2, &image, &key))
      return nullptr;
    // Most keys with a slice have it as their first or their last entry.
    auto const count = PyTuple_CheckExact(key) ? PyTuple_Size(key) : 0;
    auto const isInteger = [&](Py_ssize_t entry) { return PyLong_CheckExact(PyTuple_GetItem(key, entry)); };
    if (count == 0 || !isInteger(0) || !isInteger(count - 1))
      return Reference::share(Py_None).release();
    auto element = readElement(viewOf(image), key);
    return element || PyErr_Occurred() ? element.release() : Reference::share(Py_None).release();
  });
}

template <typename Byte, typename Reader, typename Move>
PyObject * transfer(PyObject * arguments, char const * name, Reader reader, Move move) {
  return guarded([&]() -> PyObject * {
    auto const [image, first, second, object] = unpacked<4>(arguments, name);
    auto const view = viewOf(image);
    auto const region = regionBetween(first, second);
    Buffer<Byte> buffer;
    if (!reader(object, buffer)) {
      PyErr_Format(PyExc_TypeError, "%s needs a contiguous buffer, got %R", name, object);
      return nullptr;
    }
    auto const type = view->dataType();
    auto const bytes = checkedMultiply(region.elementCount(), type.byteCount(), "bytes of the region");
    if (buffer.size != bytes) {
      PyErr_Format(PyExc_ValueError, "%s needs a buffer of %llu bytes, got %llu", name,
                   static_cast<unsigned long long>(bytes), static_cast<unsigned long long>(buffer.size));
      return nullptr;
    }
    move(view, region, type, buffer.data, buffer.pin);
    return Reference::share(Py_None).release();
  });
}

PyObject * fillBuffer(PyObject *, PyObject * arguments) {
  return transfer<void>(arguments, "fill_buffer", readWritableBuffer, readDense);
}

PyArrayObject * arrayOf(PyObject * object) {
  if (!PyArray_Check(object))
    refuse(object, "an array");
  return reinterpret_cast<PyArrayObject *>(object);
}

// fill_array(image, origin, size, array): an array of any strides, dimensions from last to first, then the components.
PyObject * fillArray(PyObject *, PyObject * arguments) {
  return guarded([&]() -> PyObject * {
    auto const [image, first, second, object] = unpacked<4>(arguments, "fill_array");
    auto const view = viewOf(image);
    auto const region = regionBetween(first, second);
    auto const type = view->dataType();
    auto * const array = arrayOf(object);
    auto const rank = region.size().size();
    auto const axes = static_cast<size_t>(PyArray_NDIM(array));
    auto const components = axes == rank + 1 ? static_cast<uint64_t>(PyArray_DIM(array, int(rank))) : 1;
    bool fits = PyArray_ISWRITEABLE(array) && PyArray_ISALIGNED(array) && (axes == rank || axes == rank + 1) &&
                PyArray_DESCR(array)->type_num < NPY_OBJECT &&
                components * static_cast<uint64_t>(PyArray_ITEMSIZE(array)) == type.byteCount();
    VectorXu64 strides(rank);
    for (size_t axis = 0; fits && axis < rank; ++axis) {
      auto const at = static_cast<int>(rank - 1 - axis);
      fits = static_cast<uint64_t>(PyArray_DIM(array, at)) == region.size()[axis];
      strides[axis] = static_cast<uint64_t>(PyArray_STRIDE(array, at));
    }
    if (!fits) {
      PyErr_Format(PyExc_ValueError, "fill_array needs a writeable array of numbers of the region's size, got %R",
                   object);
      return nullptr;
    }
    // Without an axis of their own, the parts of complex numbers are next to each other.
    auto const between = axes == rank ? type.byteCount() / std::max<uint64_t>(type.elementCount(), 1)
                                      : static_cast<uint64_t>(PyArray_STRIDE(array, int(rank)));
    readStrided(view, region, type, PyArray_DATA(array), strides, between, Reference::share(object));
    return Reference::share(Py_None).release();
  });
}

// may_touch(image, array)
PyObject * mayTouchOf(PyObject *, PyObject * arguments) {
  return guarded([&]() -> PyObject * {
    auto const [image, object] = unpacked<2>(arguments, "may_touch");
    auto * const array = arrayOf(object);
    auto const * begin = static_cast<std::byte const *>(PyArray_DATA(array));
    auto const * end = begin + PyArray_ITEMSIZE(array);
    for (int axis = 0; axis < PyArray_NDIM(array); ++axis) {
      if (PyArray_DIM(array, axis) == 0)
        return Reference::share(Py_False).release();
      auto const reach = PyArray_STRIDE(array, axis) * (PyArray_DIM(array, axis) - 1);
      (reach < 0 ? begin : end) += reach;
    }
    return PyBool_FromLong(mayTouch(*viewOf(image), begin, end));
  });
}

PyObject * writeBuffer(PyObject *, PyObject * arguments) {
  return transfer<void const>(arguments, "write_buffer", readReadableBuffer, writeDense);
}

std::vector<size_t> sizesOf(PyObject * tuple) {
  std::vector<size_t> sizes;
  for (Py_ssize_t i = 0; i < PyTuple_Size(tuple); ++i) {
    sizes.push_back(PyLong_AsSize_t(PyTuple_GetItem(tuple, i)));
    if (PyErr_Occurred())
      throw PendingError();
  }
  return sizes;
}

// The bytes that an element of an image takes in an array.
uint64_t elementBytes(ArrayLayout const & layout) {
  auto * const type = reinterpret_cast<PyArray_Descr *>(layout.elementType.get());
  auto bytes = static_cast<uint64_t>(PyDataType_ELSIZE(type));
  for (auto const component : layout.components)
    bytes = checkedMultiply(bytes, component, "bytes of an element");
  return bytes;
}

PyObject * addLayoutOf(PyObject *, PyObject * arguments) {
  return guarded([&]() -> PyObject * {
    unsigned long long axesValue = 0;
    unsigned long long dataType = 0;
    Py_ssize_t rank = 0;
    PyObject * elementType = nullptr;
    PyObject * components = nullptr;
    PyObject * axes = nullptr;
    if (!PyArg_ParseTuple(arguments, "KKnOO!O!", &axesValue, &dataType, &rank, &elementType, &PyTuple_Type, &components,
                          &PyTuple_Type, &axes))
      return nullptr;
    ArrayLayout layout{Reference::share(elementType), sizesOf(components), sizesOf(axes)};
    auto sorted = layout.axes;
    std::sort(sorted.begin(), sorted.end());
    for (size_t i = 0; i < sorted.size(); ++i)
      if (sorted[i] != i)
        throw InvalidArgument("the axes of a layout are those of the image and of its components, each once");
    if (sorted.size() != static_cast<size_t>(rank) + layout.components.size())
      throw InvalidArgument("the axes of a layout are those of the image and of its components, each once");
    if (!PyArray_DescrCheck(elementType))
      throw InvalidArgument("the elements of a layout have a numpy.dtype");
    if (elementBytes(layout) != DataType(dataType).byteCount())
      throw InvalidArgument("the elements of a layout are as large as those of the image");
    addLayout({axesValue, dataType, static_cast<size_t>(rank)}, std::move(layout));
    return Reference::share(Py_None).release();
  });
}

PyObject * threadCountOf(PyObject *, PyObject *) {
  return guarded([] { return PyLong_FromSize_t(threadCount()); });
}

PyObject * setThreadCountOf(PyObject *, PyObject * count) {
  return guarded([&]() -> PyObject * {
    auto const value = PyLong_AsSize_t(count);
    if (PyErr_Occurred())
      return nullptr;
    setThreadCount(value);
    return Reference::share(Py_None).release();
  });
}

PyMethodDef methods[] = {
    {"geometry", geometry, METH_O, "The axes, data type and size of an image: (int, int, (int, ...))."},
    {"corners", corners, METH_O, "The origin and the size of a region, as two tuples."},
    {"read_region", readRegionOf, METH_VARARGS, "A region of an image as a new array; None if it needs a layout."},
    {"read_element", readElementOf, METH_VARARGS,
     "The element at a tuple of integers of an image in memory; None if it takes more."},
    {"fill_buffer", fillBuffer, METH_VARARGS, "Read a region of an image, from origin and size, into a buffer."},
    {"fill_array", fillArray, METH_VARARGS,
     "Read a region of an image into an array of any strides: its dimensions from last to first, and the components."},
    {"may_touch", mayTouchOf, METH_VARARGS, "Whether reading an image may read the memory of an array."},
    {"write_buffer", writeBuffer, METH_VARARGS, "Write a buffer to a region of an image, from origin and size."},
    {"add_layout", addLayoutOf, METH_VARARGS,
     "Tell how to read images: add_layout(axes, data type, rank, dtype, shape of a pixel, order of axes)."},
    {"thread_count", threadCountOf, METH_NOARGS, "How many threads a large copy or conversion may use."},
    {"set_thread_count", setThreadCountOf, METH_O, "Set how many threads a large copy or conversion may use."},
    {nullptr, nullptr, 0, nullptr},
};

DirectFunctions const registered(methods);

} // namespace

} // namespace zarnik::python
