#include "direct/RegionReader.h"

#include "direct/RegionTransfer.h"
#include "module/NumpyApi.h"
#include "zarnik/values/ImageType.h"
#include "zarnik/views/ImageView.h"

#include <cstddef>
#include <limits>
#include <map>
#include <utility>

namespace zarnik::python {

namespace {

// Never destroyed: it holds Python objects, and the interpreter ends before the static objects do.
std::map<ImageKind, ArrayLayout> & layouts() {
  static auto & all = *new std::map<ImageKind, ArrayLayout>;
  return all;
}

// No NumPy that the module accepts has arrays of fewer dimensions than this.
constexpr size_t MAXIMAL_RANK = 32;

struct Geometry {
  npy_intp extents[MAXIMAL_RANK];
  npy_intp byteStrides[MAXIMAL_RANK];
};

// False when the array is too large for NumPy.
bool arrange(ArrayLayout const & layout, VectorXu64 const & size, size_t elementBytes, Geometry & geometry) {
  auto const rank = size.size();
  auto const axisCount = layout.axes.size();
  size_t extents[MAXIMAL_RANK];
  for (size_t i = 0; i < axisCount; ++i)
    extents[i] = i < rank ? size[rank - 1 - i] : layout.components[i - rank];

  npy_intp strides[MAXIMAL_RANK];
  auto bytes = elementBytes;
  for (size_t i = axisCount; i-- > 0;) {
    strides[i] = static_cast<npy_intp>(bytes);
    // As in NumPy, an empty array has the strides that it would have with one element along the axes without any.
    if (__builtin_mul_overflow(bytes, extents[i] ? extents[i] : 1, &bytes) ||
        bytes > static_cast<size_t>(std::numeric_limits<npy_intp>::max()))
      return false;
  }
  for (size_t i = 0; i < axisCount; ++i) {
    geometry.extents[i] = static_cast<npy_intp>(extents[layout.axes[i]]);
    geometry.byteStrides[i] = strides[layout.axes[i]];
  }
  return true;
}

} // namespace

ImageKind kindOf(ImageView & view) {
  return {view.axesInterpretation().value(), view.dataType().id(), view.shape().size()};
}

void addLayout(ImageKind const & kind, ArrayLayout layout) {
  if (layout.axes.size() <= MAXIMAL_RANK)
    layouts().insert_or_assign(kind, std::move(layout));
}

Reference readRegion(std::shared_ptr<ImageView> const & view, RegionXu64 const & region) {
  auto const kind = kindOf(*view);
  auto const found = layouts().find(kind);
  if (found == layouts().end() || region.size().size() != kind.rank)
    return {};

  auto const & layout = found->second;
  auto * const elementType = reinterpret_cast<PyArray_Descr *>(layout.elementType.get());
  Geometry geometry;
  if (!arrange(layout, region.size(), static_cast<size_t>(PyDataType_ELSIZE(elementType)), geometry))
    return {};
  // The array takes over a reference to its type.
  auto array = Reference::steal(PyArray_NewFromDescr(
      &PyArray_Type, reinterpret_cast<PyArray_Descr *>(Reference(layout.elementType).release()),
      static_cast<int>(layout.axes.size()), geometry.extents, geometry.byteStrides, nullptr, 0, nullptr));
  if (!array) {
    PyErr_Clear();
    return {};
  }
  auto * const elements = reinterpret_cast<PyArrayObject *>(array.get());
  readDense(view, region, DataType(kind.dataType), PyArray_DATA(elements), array);
  return array;
}

Reference readElement(std::shared_ptr<ImageView> const & view, PyObject * key) {
  auto const rank = static_cast<size_t>(PyTuple_Size(key));
  // Of other images an element may be far away: while it is fetched nobody may be kept waiting.
  if (rank == 0 || !view->support(ImageCapability::MEMORY_ACCESS))
    return {};
  auto const kind = kindOf(*view);
  auto const found = layouts().find(kind);
  if (found == layouts().end() || kind.rank != rank || found->second.axes.size() != rank)
    return {};
  auto const shape = view->shape();
  VectorXu64 index(rank);
  for (size_t axis = 0; axis < rank; ++axis) {
    auto const dimension = rank - 1 - found->second.axes[axis];
    auto * const place = PyTuple_GetItem(key, static_cast<Py_ssize_t>(axis));
    auto number = PyLong_CheckExact(place) ? PyLong_AsLongLong(place) : -1;
    if (number < 0 || static_cast<uint64_t>(number) >= shape[dimension]) {
      PyErr_Clear();
      return {};
    }
    index[dimension] = static_cast<uint64_t>(number);
  }
  auto * const type = reinterpret_cast<PyArray_Descr *>(found->second.elementType.get());
  alignas(16) std::byte element[16];
  if (static_cast<size_t>(PyDataType_ELSIZE(type)) > sizeof element)
    return {};
  view->read(index, element);
  return Reference::steal(PyArray_Scalar(element, type, nullptr));
}

} // namespace zarnik::python
