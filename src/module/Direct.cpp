#include "module/Direct.h"

#include "module/Errors.h"
#include "module/NumpyApi.h"
#include "module/Runtime.h"
#include "numpy/RegionReader.h"
#include "zarnik/layout/Threads.h"
#include "zarnik/views/ImageView.h"

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

PyObject * readRegionOf(PyObject *, PyObject * arguments) {
  return guarded([&]() -> PyObject * {
    PyObject * image = nullptr;
    PyObject * object = nullptr;
    if (!PyArg_UnpackTuple(arguments, "read_region", 2, 2, &image, &object))
      return nullptr;
    auto const view = viewOf(image);
    auto const * const region = view ? regionOf(object) : nullptr;
    if (!region)
      return nullptr;
    auto * const array = readRegion(*view, *region);
    return array || PyErr_Occurred() ? array : Reference::share(Py_None).release();
  });
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
    {"add_layout", addLayoutOf, METH_VARARGS,
     "Tell how to read images: add_layout(axes, data type, rank, dtype, shape of a pixel, order of axes)."},
    {"thread_count", threadCountOf, METH_NOARGS, "How many threads a large copy or conversion may use."},
    {"set_thread_count", setThreadCountOf, METH_O, "Set how many threads a large copy or conversion may use."},
    {nullptr, nullptr, 0, nullptr},
};

PyModuleDef definition = {
    PyModuleDef_HEAD_INIT, "_zarnik.direct", nullptr, -1, methods, nullptr, nullptr, nullptr, nullptr};

} // namespace

bool addDirectModule() {
  auto const module = Reference::steal(PyModule_Create(&definition));
  return module && PyDict_SetItemString(PyImport_GetModuleDict(), definition.m_name, module.get()) == 0;
}

} // namespace zarnik::python
