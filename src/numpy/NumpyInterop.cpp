#include "numpy/NumpyInterop.h"

#include "module/Conversions.h"
#include "module/NumpyApi.h"
#include "module/Reference.h"
#include "module/Runtime.h"
#include "numpy/NumpyImageView.h"
#include "numpy/NumpyTypes.h"
#include "zarnik/core/Error.h"
#include "zarnik/metadata/ImageProperties.h"
#include "zarnik/views/BorrowedMemoryView.h"
#include "zarnik/views/SharedSamples.h"

#include <algorithm>
#include <fmt/format.h>
#include <iostream>
#include <limits>
#include <numeric>
#include <span>

namespace zarnik {

namespace {

using python::Reference;

// What keeps the memory of an array: the capsule holding this record is the array's base object.
struct ViewHolder {
  std::shared_ptr<ImageView> view;
  std::shared_ptr<void const> memory; // which the view may give up before it goes
};

constexpr char HOLDER_NAME[] = "ContainerView";

void deleteHolder(PyObject * capsule) { delete static_cast<ViewHolder *>(PyCapsule_GetPointer(capsule, HOLDER_NAME)); }

constexpr size_t NO_AXIS = std::numeric_limits<size_t>::max();

// Where the axes of a view stand among those of an array.
struct AxisOrder {
  VectorXu64 positions;            // of each dimension of the view
  size_t componentsAxis = NO_AXIS; // of the components of vector data
};

AxisOrder naturalOrder(ImageType axes, size_t rank, bool isVector) {
  AxisOrder order{VectorXu64(rank), rank};
  if (axes == ImageType()) {
    std::iota(order.positions.begin(), order.positions.end(), 0);
    return order;
  }
  auto const hasChannels = !isVector && axes.has(ImageDimension::CHANNEL);
  auto const channels = hasChannels ? axes.indexDimension(ImageDimension::CHANNEL) : NO_AXIS;
  // A list of axes is used as a list of positions: the two are the same thing unless CHANNEL and SEQUENCE are both
  // there, and callers rely on the axes that come out then.
  auto * next = order.positions.begin();
  for (size_t i = rank; i > 0; --i)
    if (i - 1 != channels)
      *next++ = i - 1;
  if (channels < rank)
    *next = channels;
  return order;
}

AxisOrder requestedOrder(ImageType axes, bool isVector, std::span<ImageDimension const> dimensions) {
  if (axes == ImageType())
    throw Error("ImageView has no axes interpretation - Dimensions are unknown");
  auto extended = axes;
  if (isVector) {
    if (extended.has(ImageDimension::CHANNEL))
      throw Error("CHANNEL dimension already exists - vectorial data cannot be converted");
    extended.add(ImageDimension::CHANNEL);
  }
  if (dimensions.size() != extended.dimensionCount())
    throw Error("Input dimensions list is not valid");

  AxisOrder order{VectorXu64(dimensions.size())};
  for (auto const dimension : {ImageDimension::COLUMN, ImageDimension::ROW, ImageDimension::SLICE,
                               ImageDimension::CHANNEL, ImageDimension::SEQUENCE}) {
    if (!extended.has(dimension))
      continue;
    auto const found = std::find(dimensions.begin(), dimensions.end(), dimension);
    if (found == dimensions.end())
      throw Error("Input dimensions list is incomplete");
    auto const position = static_cast<size_t>(found - dimensions.begin());
    // Indexed by the extended type although read by dimension of the view: with components before a sequence the
    // two differ by one, and callers rely on the axes that come out then.
    if (axes.has(dimension))
      order.positions[extended.indexDimension(dimension)] = position;
    else
      order.componentsAxis = position;
  }
  return order;
}

struct ArrayGeometry {
  VectorX<npy_intp> extents;
  VectorX<npy_intp> byteStrides; // all 0 at first, as of axes that no dimension sets
};

ArrayGeometry arrayGeometry(Indexer const & indexer, AxisOrder const & order) {
  auto const type = indexer.dtype();
  auto const components = type.elementCount();
  auto const rank = indexer.dimensionCount() + (components != 1 ? 1 : 0);

  // Views of others may carry axes that do not fit their shape.
  if (order.positions.size() < indexer.dimensionCount())
    throw Error(
        fmt::format("the axes interpretation has not the {} dimensions of the image", indexer.dimensionCount()));

  // An axis that no dimension sets has one element, so that no array points outside the buffer.
  ArrayGeometry geometry{VectorX<npy_intp>(rank), VectorX<npy_intp>(rank)};
  std::fill(geometry.extents.begin(), geometry.extents.end(), 1);
  size_t dimension = 0;
  for (size_t axis = 0; axis < rank; ++axis) {
    if (components != 1 && order.componentsAxis == axis) {
      geometry.extents[axis] = static_cast<npy_intp>(components);
      geometry.byteStrides[axis] = static_cast<npy_intp>(DataType::extractScalarType(type).byteCount());
      continue;
    }
    if (dimension == indexer.dimensionCount())
      break;
    auto const position = order.positions[dimension];
    if (position >= rank)
      throw Error(fmt::format("the axes interpretation has more than the {} dimensions of the image",
                              indexer.dimensionCount()));
    geometry.extents[position] = static_cast<npy_intp>(indexer.shape()[dimension]);
    geometry.byteStrides[position] = static_cast<npy_intp>(indexer.byteStride()[dimension]);
    ++dimension;
  }
  return geometry;
}

PyObject * createArray(std::shared_ptr<ImageView> const & view, AxisOrder const & order, PyObject * image) {
  // Where the view can give up its memory the array has a share of it.
  auto shared = shareSamples(view);
  auto geometry = arrayGeometry(shared.indexer, order);
  auto const typeNumber = python::numpyTypeOf(DataType::extractScalarType(shared.indexer.dtype()));
  auto * const data = shared.data;

  if (shared.owner == view)
    shared.owner.reset(); // held once
  auto holder = std::make_unique<ViewHolder>(ViewHolder{view, std::move(shared.owner)});
  auto capsule = Reference::steal(PyCapsule_New(holder.get(), HOLDER_NAME, deleteHolder));
  if (!capsule)
    throw Error("Error when linking Numpy array to Zarnik View");
  holder.release();

  auto array =
      Reference::steal(PyArray_New(&PyArray_Type, static_cast<int>(geometry.extents.size()), geometry.extents.data(),
                                   typeNumber, geometry.byteStrides.data(), data, 0, NPY_ARRAY_FARRAY, image));
  if (!array) {
    std::cout << "error when creating array\n" << std::flush;
    return nullptr;
  }
  if (PyArray_SetBaseObject(reinterpret_cast<PyArrayObject *>(array.get()), capsule.release()) != 0) {
    PyErr_Clear();
    throw Error("Error when linking Numpy array to Zarnik View");
  }
  // Memory that its owner calls read-only is shown, but not offered for writing.
  auto const * const borrowed = dynamic_cast<BorrowedMemoryView const *>(view.get());
  if (borrowed && borrowed->protection() != BorrowedMemoryView::Protection::NONE)
    PyArray_CLEARFLAGS(reinterpret_cast<PyArrayObject *>(array.get()), NPY_ARRAY_WRITEABLE);
  return array.release();
}

// The view behind an argument; null with a Python error pending when there is none with memory.
std::shared_ptr<ImageView> readMemoryView(PyObject * image) {
  constexpr char notAView[] = "Numpy array can only be built from ImageView instances";
  if (!image) {
    PyErr_SetString(PyExc_TypeError, notAView);
    return nullptr;
  }
  if (image == Py_None) {
    PyErr_SetString(PyExc_TypeError, "Input ImageView cannot be empty");
    return nullptr;
  }
  auto view = python::wrappedImageView(image);
  if (!view) {
    PyErr_SetString(PyExc_TypeError, notAView);
    return nullptr;
  }
  if (!view->support(ImageCapability::MEMORY_ACCESS)) {
    PyErr_SetString(PyExc_ValueError, "Input ImageView must support MEMORY_ACCESS capability");
    return nullptr;
  }
  return view;
}

} // namespace

PyObject * NumpyInterop::toNumpyArray(PyObject * image) {
  auto const view = readMemoryView(image);
  if (!view)
    return nullptr;
  auto const axes = toldProperties(*view)->imageInfo().axesInterpretation();
  return createArray(view, naturalOrder(axes, view->shape().size(), view->dataType().elementCount() > 1), image);
}

PyObject * NumpyInterop::orderToNumpyArray(PyObject * image, ImageDimension const * dimensionList,
                                           size_t dimensionCount) {
  auto const view = readMemoryView(image);
  if (!view)
    return nullptr;
  auto const axes = toldProperties(*view)->imageInfo().axesInterpretation();
  auto const isVector = view->dataType().elementCount() > 1;
  return createArray(view, requestedOrder(axes, isVector, {dimensionList, dimensionCount}), image);
}

std::shared_ptr<ImageView> NumpyInterop::fromNumpyArray(PyObject * np, ImageType axesInterpretation,
                                                        ImageInterpretation interpretation, bool hasAlpha) {
  return std::make_shared<NumpyImageView>(np, axesInterpretation, interpretation, hasAlpha);
}

std::shared_ptr<ImageView> NumpyInterop::orderFromNumpyArray(PyObject * const np, ImageDimension const * dimensionList,
                                                             size_t axisCount, ImageInterpretation interpretation,
                                                             bool hasAlpha) {
  return std::make_shared<NumpyImageView>(np, dimensionList, axisCount, interpretation, hasAlpha);
}

namespace python {

bool requireArray(PyObject * object) {
  if (PyArray_Check(object))
    return true;
  PyErr_SetString(PyExc_TypeError, "Input Numpy Array is not valid");
  return false;
}

bool readAxes(PyObject * list, std::vector<ImageDimension> & dimensions) {
  if (!readImageDimensions(list, dimensions))
    return false;
  if (dimensions.empty())
    PyErr_SetString(PyExc_TypeError, "List of dimensions cannot be empty");
  return !dimensions.empty();
}

} // namespace python

} // namespace zarnik
