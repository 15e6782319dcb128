#include "module/Direct.h"

#include "module/Conversions.h"
#include "module/Errors.h"
#include "module/NumpyApi.h"
#include "module/Runtime.h"
#include "numpy/RegionReader.h"
#include "zarnik/core/Error.h"
#include "zarnik/layout/Threads.h"
#include "zarnik/values/Checked.h"
#include "zarnik/views/ImageView.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace zarnik::python {

namespace {

std::shared_ptr<ImageView> viewOf(PyObject * object) {
  auto view = wrappedImageView(object);
  if (!view)
    PyErr_Format(PyExc_TypeError, "an ImageView is needed, got %R", object);
  return view;
}

RegionXu64 const * regionOf(PyObject * object) {
  auto const * const region = wrappedRegion(object);
  if (!region)
    PyErr_Format(PyExc_TypeError, "a RegionXu64 is needed, got %R", object);
  return region;
}

PyObject * tupleOf(VectorXu64 const & vector) {
  auto tuple = Reference::steal(PyTuple_New(static_cast<Py_ssize_t>(vector.size())));
  for (size_t i = 0; tuple && i < vector.size(); ++i) {
    auto * const component = PyLong_FromUnsignedLongLong(vector[i]);
    if (!component || PyTuple_SetItem(tuple.get(), static_cast<Py_ssize_t>(i), component) != 0)
      return nullptr;
  }
  return tuple.release();
}

template <typename Call> PyObject * guarded(Call call) {
  try {
    return call();
  } catch (...) {
    translateException();
    return nullptr;
  }
}

PyObject * geometry(PyObject *, PyObject * image) {
  return guarded([&]() -> PyObject * {
    auto const view = viewOf(image);
    if (!view)
      return nullptr;
    auto const kind = kindOf(*view);
    auto sizes = Reference::steal(tupleOf(view->shape()));
    return sizes ? Py_BuildValue("KKN", static_cast<unsigned long long>(kind.axes),
                                 static_cast<unsigned long long>(kind.dataType), sizes.release())
                 : nullptr;
  });
}

PyObject * corners(PyObject *, PyObject * object) {
  return guarded([&]() -> PyObject * {
    auto const * const region = regionOf(object);
    if (!region)
      return nullptr;
    auto origin = Reference::steal(tupleOf(region->origin()));
    auto size = Reference::steal(tupleOf(region->size()));
    return origin && size ? Py_BuildValue("NN", origin.release(), size.release()) : nullptr;
  });
}

bool readVector(PyObject * sequence, VectorXu64 & vector) {
  auto const size = PySequence_Size(sequence);
  if (size < 0)
    return false;
  vector = VectorXu64(static_cast<size_t>(size));
  for (Py_ssize_t i = 0; i < size; ++i) {
    auto const item = Reference::steal(PySequence_GetItem(sequence, i));
    if (!item)
      return false;
    vector[static_cast<size_t>(i)] = PyLong_AsUnsignedLongLong(item.get());
  }
  return !PyErr_Occurred();
}

PyObject * readRegionOf(PyObject *, PyObject * arguments) {
  return guarded([&]() -> PyObject * {
    PyObject * image = nullptr;
    PyObject * first = nullptr;
    PyObject * second = nullptr;
    if (!PyArg_UnpackTuple(arguments, "read_region", 2, 3, &image, &first, &second))
      return nullptr;
    auto const view = viewOf(image);
    if (!view)
      return nullptr;
    PyObject * array = nullptr;
    if (second) {
      VectorXu64 origin;
      VectorXu64 size;
      if (!readVector(first, origin) || !readVector(second, size))
        return nullptr;
      array = readRegion(*view, RegionXu64(origin, size));
    } else if (auto const * const region = regionOf(first)) {
      array = readRegion(*view, *region);
    }
    return array || PyErr_Occurred() ? array : Reference::share(Py_None).release();
  });
}

template <typename Byte, typename Reader, typename Move>
PyObject * transfer(PyObject * arguments, char const * name, Reader reader, Move move) {
  return guarded([&]() -> PyObject * {
    PyObject * image = nullptr;
    PyObject * first = nullptr;
    PyObject * second = nullptr;
    PyObject * object = nullptr;
    if (!PyArg_UnpackTuple(arguments, name, 4, 4, &image, &first, &second, &object))
      return nullptr;
    auto const view = viewOf(image);
    VectorXu64 origin;
    VectorXu64 size;
    if (!view || !readVector(first, origin) || !readVector(second, size))
      return nullptr;
    RegionXu64 const region(origin, size);
    Buffer<Byte> buffer;
    if (!reader(object, buffer)) {
      PyErr_Format(PyExc_TypeError, "%s needs a contiguous buffer, got %R", name, object);
      return nullptr;
    }
    auto const bytes = checkedMultiply(region.elementCount(), view->dataType().byteCount(), "bytes of the region");
    if (buffer.size != bytes) {
      PyErr_Format(PyExc_ValueError, "%s needs a buffer of %llu bytes, got %llu", name,
                   static_cast<unsigned long long>(bytes), static_cast<unsigned long long>(buffer.size));
      return nullptr;
    }
    move(*view, region, buffer.data);
    return Reference::share(Py_None).release();
  });
}

PyObject * fillBuffer(PyObject *, PyObject * arguments) {
  return transfer<void>(
      arguments, "fill_buffer", readWritableBuffer,
      [](ImageView & view, RegionXu64 const & region, void * data) { view.readRegion(region, data); });
}

PyObject * writeBuffer(PyObject *, PyObject * arguments) {
  return transfer<void const>(
      arguments, "write_buffer", readReadableBuffer,
      [](ImageView & view, RegionXu64 const & region, void const * data) { view.writeRegion(region, data); });
}

bool readSizes(PyObject * tuple, std::vector<size_t> & sizes) {
  for (Py_ssize_t i = 0; i < PyTuple_Size(tuple); ++i)
    sizes.push_back(PyLong_AsSize_t(PyTuple_GetItem(tuple, i)));
  return !PyErr_Occurred();
}

PyObject * addLayoutOf(PyObject *, PyObject * arguments) {
  return guarded([&]() -> PyObject * {
    unsigned long long axesValue = 0;
    unsigned long long dataType = 0;
    Py_ssize_t rank = 0;
    PyObject * elementType = nullptr;
    PyObject * components = nullptr;
    PyObject * axes = nullptr;
    ArrayLayout layout;
    if (!PyArg_ParseTuple(arguments, "KKnOO!O!", &axesValue, &dataType, &rank, &elementType, &PyTuple_Type, &components,
                          &PyTuple_Type, &axes) ||
        !readSizes(components, layout.components) || !readSizes(axes, layout.axes))
      return nullptr;
    auto sorted = layout.axes;
    std::sort(sorted.begin(), sorted.end());
    for (size_t i = 0; i < sorted.size(); ++i)
      if (sorted[i] != i || sorted.size() != static_cast<size_t>(rank) + layout.components.size())
        throw InvalidArgument("the axes of a layout are those of the image and of its components, each once");
    if (!PyArray_DescrCheck(elementType))
      throw InvalidArgument("the elements of a layout have a numpy.dtype");
    layout.elementType = Reference::share(elementType);
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
    {"fill_buffer", fillBuffer, METH_VARARGS, "Read a region of an image, from origin and size, into a buffer."},
    {"write_buffer", writeBuffer, METH_VARARGS, "Write a buffer to a region of an image, from origin and size."},
    {"add_layout", addLayoutOf, METH_VARARGS,
     "Tell how to read images: add_layout(axes, data type, rank, dtype, shape of a pixel, order of axes)."},
    {"thread_count", threadCountOf, METH_NOARGS, "How many threads a large copy or conversion may use."},
    {"set_thread_count", setThreadCountOf, METH_O, "Set how many threads a large copy or conversion may use."},
    {nullptr, nullptr, 0, nullptr},
};

PyModuleDef definition = {
    PyModuleDef_HEAD_INIT, "_zarnik.__direct__", nullptr, -1, methods, nullptr, nullptr, nullptr, nullptr};

} // namespace

bool addDirectModule(PyObject * names) {
  auto const module = Reference::steal(PyModule_Create(&definition));
  return module && PyDict_SetItemString(names, "__direct__", module.get()) == 0;
}

} // namespace zarnik::python
