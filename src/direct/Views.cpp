#include "direct/CallWithoutLock.h"
#include "direct/CallbackImageView.h"
#include "direct/Functions.h"
#include "direct/ProgressCall.h"
#include "direct/TypeTable.h"
#include "zarnik/core/Error.h"
#include "zarnik/views/ImageView.h"
#include "zarnik/views/ImageViewFactory.h"
#include "zarnik/views/LinearValues.h"
#include "zarnik/views/LodImageView.h"
#include "zarnik/views/LodImageViewFactory.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace zarnik::python {

namespace {

PyObject * wrapImage(std::shared_ptr<ImageView> image) {
  static auto * const type = findType("std::shared_ptr< zarnik::ImageView > *");
  return wrapShared(std::move(image), type);
}

swig_type_info * lodType() {
  static auto * const type = findType("std::shared_ptr< zarnik::LodImageView > *");
  return type;
}

PyObject * wrapLod(std::shared_ptr<LodImageView> image) { return wrapShared(std::move(image), lodType()); }

std::shared_ptr<LodImageView> lodOf(PyObject * object) {
  return requiredPointer<LodImageView>(object, lodType(), "a LodImageView");
}

VectorXu64 sizesOf(PyObject * sequence) {
  auto const items = Reference::steal(PySequence_Tuple(sequence));
  if (!items)
    throw PendingError();
  VectorXu64 sizes(static_cast<size_t>(PyTuple_Size(items.get())));
  for (size_t axis = 0; axis < sizes.size(); ++axis) {
    sizes[axis] = PyLong_AsUnsignedLongLong(PyTuple_GetItem(items.get(), static_cast<Py_ssize_t>(axis)));
    if (PyErr_Occurred())
      throw PendingError();
  }
  return sizes;
}

PyObject * isSameView(PyObject *, PyObject * arguments) {
  return guarded([&]() -> PyObject * {
    PyObject * first = nullptr;
    PyObject * second = nullptr;
    if (!PyArg_UnpackTuple(arguments, "is_same_view", 2, 2, &first, &second))
      return nullptr;
    return PyBool_FromLong(viewOf(first) == viewOf(second));
  });
}

PyObject * extractRegion(PyObject *, PyObject * arguments) {
  return guarded([&]() -> PyObject * {
    auto const [image, origin, size] = unpacked<3>(arguments, "extract_region");
    return wrapImage(ImageViewFactory::extractRegion(viewOf(image), {sizesOf(origin), sizesOf(size)}));
  });
}

PyObject * everyNth(PyObject *, PyObject * arguments) {
  return guarded([&]() -> PyObject * {
    PyObject * image = nullptr;
    PyObject * steps = nullptr;
    if (!PyArg_UnpackTuple(arguments, "every_nth", 2, 2, &image, &steps))
      return nullptr;
    auto view = viewOf(image);
    return wrapImage(ImageViewFactory::everyNth(std::move(view), sizesOf(steps)));
  });
}

PyObject * valuesMapped(PyObject *, PyObject * arguments) {
  return guarded([&]() -> PyObject * {
    PyObject * image = nullptr;
    unsigned long long dataType = 0;
    LinearMap map;
    if (!PyArg_ParseTuple(arguments, "OKdd:map_linearly", &image, &dataType, &map.scale, &map.offset))
      return nullptr;
    return wrapImage(mapLinearly(viewOf(image), DataType(dataType), map));
  });
}

PyObject * levelsOf(PyObject *, PyObject * arguments) {
  return guarded([&]() -> PyObject * {
    PyObject * images = nullptr;
    long long finest = 0;
    if (!PyArg_ParseTuple(arguments, "OL:lod_image", &images, &finest))
      return nullptr;
    auto const items = Reference::steal(PySequence_Tuple(images));
    if (!items)
      return nullptr;
    std::vector<std::shared_ptr<ImageView>> levels;
    levels.reserve(static_cast<size_t>(PyTuple_Size(items.get())));
    for (Py_ssize_t level = 0; level < PyTuple_Size(items.get()); ++level)
      levels.push_back(viewOf(PyTuple_GetItem(items.get(), level)));
    return wrapLod(LodImageViewFactory::createFromLevels(std::move(levels), finest));
  });
}

PyObject * coarserLevels(PyObject *, PyObject * arguments) {
  return guarded([&]() -> PyObject * {
    PyObject * image = nullptr;
    int method = 0;
    unsigned long long coarsest = 0;
    char const * folder = nullptr;
    if (!PyArg_ParseTuple(arguments, "OiKs:coarser_levels", &image, &method, &coarsest, &folder))
      return nullptr;
    return wrapLod(
        LodImageViewFactory::createLevels(viewOf(image), static_cast<LevelMethod>(method), coarsest, folder));
  });
}

PyObject * computeLevels(PyObject *, PyObject * arguments) {
  return guarded([&]() -> PyObject * {
    PyObject * image = nullptr;
    PyObject * progress = nullptr;
    if (!PyArg_UnpackTuple(arguments, "compute_levels", 1, 2, &image, &progress))
      return nullptr;
    callWithoutLock(
        [levels = lodOf(image), told = ProgressCall(progress)](Cancellation const & cancellation) {
          LodImageViewFactory::computeLevels(*levels, told.until(cancellation));
        },
        CallLength::LONG);
    return Reference::share(Py_None).release();
  });
}

PyObject * copyInMemory(PyObject *, PyObject * arguments) {
  return guarded([&]() -> PyObject * {
    PyObject * image = nullptr;
    PyObject * progress = nullptr;
    if (!PyArg_UnpackTuple(arguments, "copy_in_memory", 1, 2, &image, &progress))
      return nullptr;
    return wrapImage(callWithoutLock(
        [view = viewOf(image), told = ProgressCall(progress)](Cancellation const & cancellation) {
          return ImageViewFactory::copyInMemory(view, told.until(cancellation));
        },
        CallLength::LONG));
  });
}

PyObject * copyOnDisk(PyObject *, PyObject * arguments) {
  return guarded([&]() -> PyObject * {
    PyObject * image = nullptr;
    char const * folder = nullptr;
    PyObject * progress = nullptr;
    if (!PyArg_ParseTuple(arguments, "Os|O:copy_on_disk", &image, &folder, &progress))
      return nullptr;
    return wrapImage(callWithoutLock(
        [view = viewOf(image), where = std::string(folder),
         told = ProgressCall(progress)](Cancellation const & cancellation) {
          return ImageViewFactory::copyOnDisk(view, where, told.until(cancellation));
        },
        CallLength::LONG));
  });
}

PyObject * callbackImage(PyObject *, PyObject * arguments) {
  return guarded([&]() -> PyObject * {
    PyObject * sizes = nullptr;
    PyObject * chunks = nullptr;
    PyObject * fill = nullptr;
    unsigned long long dataType = 0;
    unsigned long long axes = 0;
    PyObject * store = nullptr;
    char const * name = nullptr;
    if (!PyArg_ParseTuple(arguments, "OKKOOOs:callback_image", &sizes, &dataType, &axes, &chunks, &fill, &store, &name))
      return nullptr;
    auto tiles = chunks == Py_None ? VectorXu64() : sizesOf(chunks);
    return wrapImage(CallbackImageView::create(
        sizesOf(sizes), DataType(dataType), ImageType(axes), std::move(tiles), KeptObject(Reference::share(fill)),
        store == Py_None ? std::nullopt : std::optional(KeptObject(Reference::share(store))), name));
  });
}

PyMethodDef methods[] = {
    {"is_same_view", isSameView, METH_VARARGS, "Whether two objects wrap one image: is_same_view(image, image)."},
    {"extract_region", extractRegion, METH_VARARGS, "A region of an image: extract_region(image, origin, size)."},
    {"every_nth", everyNth, METH_VARARGS, "Every nth element along each dimension: every_nth(image, steps)."},
    {"map_linearly", valuesMapped, METH_VARARGS,
     "The values scale * value + offset: map_linearly(image, data type, scale, offset)."},
    {"lod_image", levelsOf, METH_VARARGS, "An image of given levels: lod_image(images, finest level)."},
    {"coarser_levels", coarserLevels, METH_VARARGS,
     "The levels of an image: coarser_levels(image, method, coarsest size, folder)."},
    {"compute_levels", computeLevels, METH_VARARGS,
     "Compute what is not there yet of coarser levels: compute_levels(lod image, progress)."},
    {"copy_in_memory", copyInMemory, METH_VARARGS, "A copy of an image in memory: copy_in_memory(image, progress)."},
    {"copy_on_disk", copyOnDisk, METH_VARARGS,
     "A copy of an image in a temporary file: copy_on_disk(image, folder, progress)."},
    {"callback_image", callbackImage, METH_VARARGS,
     "An image read by a function: callback_image(sizes, data type, axes, chunk sizes or None, fill, store or None, "
     "name)."},
    {nullptr, nullptr, 0, nullptr},
};

DirectFunctions const registered(methods);

} // namespace

} // namespace zarnik::python
