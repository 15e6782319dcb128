#include "numpy/NumpyImageView.h"

#include "module/NumpyApi.h"
#include "module/Reference.h"
#include "numpy/NumpyTypes.h"
#include "zarnik/core/Error.h"
#include "zarnik/layout/RegionCopier.h"
#include "zarnik/metadata/ImageProperties.h"
#include "zarnik/values/RegionX.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace zarnik {

namespace {

std::vector<ImageDimension> dimensionsInNumpyOrder(ImageType type) {
  std::vector<ImageDimension> dimensions;
  for (auto const dimension : {ImageDimension::SEQUENCE, ImageDimension::SLICE, ImageDimension::ROW,
                               ImageDimension::COLUMN, ImageDimension::CHANNEL})
    if (type.has(dimension))
      dimensions.push_back(dimension);
  return dimensions;
}

// The flags of the array that owns the memory decide, where there is one: an axis order chosen for the owner holds
// for every array made from it.
bool isRowMajor(PyArrayObject * array) {
  auto * const base = PyArray_BASE(array);
  if (base && PyArray_Check(base))
    array = reinterpret_cast<PyArrayObject *>(base);
  return PyArray_FLAGS(array) & NPY_ARRAY_C_CONTIGUOUS;
}

} // namespace

struct NumpyImageView::Description {
  Memory memory;
  std::shared_ptr<ImageProperties const> properties;
};

NumpyImageView::NumpyImageView(PyObject * array, Description description)
    : BorrowedMemoryView(std::move(description.memory), std::move(description.properties), nullptr), array_(array) {}

NumpyImageView::NumpyImageView(PyObject * array, ImageDimension const * dimensions, size_t dimensionCount,
                               ImageInterpretation interpretation, bool hasAlpha)
    : NumpyImageView(array, describe(array, {dimensions, dimensionCount}, interpretation, hasAlpha)) {}

NumpyImageView::NumpyImageView(PyObject * array, ImageType axesInterpretation, ImageInterpretation interpretation,
                               bool hasAlpha)
    : NumpyImageView(array, describe(array, dimensionsInNumpyOrder(axesInterpretation), interpretation, hasAlpha)) {}

NumpyImageView::Description NumpyImageView::describe(PyObject * object, std::span<ImageDimension const> dimensions,
                                                     ImageInterpretation interpretation, bool hasAlpha) {
  auto * const array = reinterpret_cast<PyArrayObject *>(object);
  auto const rank = static_cast<size_t>(PyArray_NDIM(array));
  // Compared before and after the type is made: a list of another length is refused first, and a dimension named
  // twice would leave an axis without a place.
  auto const type = dimensions.size() == rank ? ImageType(dimensions.data(), dimensions.size()) : ImageType();
  if (dimensions.size() != rank || type.dimensionCount() != rank)
    throw Error("Given dimensions list is not compatible with array shape");

  VectorXu64 shape(rank);
  VectorXu64 layout(rank);
  VectorXu64 byteStrides(rank);
  for (size_t axis = 0; axis < rank; ++axis) {
    auto const place = type.indexDimension(dimensions[axis]);
    layout[axis] = place;
    shape[place] = static_cast<uint64_t>(PyArray_DIMS(array)[axis]);
    byteStrides[place] = static_cast<uint64_t>(PyArray_STRIDES(array)[axis]);
  }
  auto const dataType = python::dataTypeOfNumpy(PyArray_TYPE(array));
  if (PyArray_ISBYTESWAPPED(array))
    throw Error("Unsupported numpy data type");
  if (isRowMajor(array))
    std::reverse(layout.begin(), layout.end());

  auto properties = ImageProperties::fromDataType(dataType);
  auto & info = properties->imageInfo();
  info.setAxesInterpretation(type);
  info.setInterpretation(interpretation);
  info.setAlpha(hasAlpha);
  if (!properties->isCompatibleWith(shape, dataType))
    throw Error("Given information are not compatible with Numpy");

  Memory memory;
  memory.first = PyArray_DATA(array);
  memory.indexer = Indexer(shape, dataType, byteStrides, layout);
  memory.owner = std::make_shared<python::KeptObject>(python::Reference::share(object));
  memory.protection = PyArray_ISWRITEABLE(array) ? Protection::NONE : Protection::SEALED;
  memory.name = "NumPy array";
  return {std::move(memory), std::move(properties)};
}

void NumpyImageView::requireWritable() const {
  BorrowedMemoryView::requireWritable();
  // NumPy's flag may have been set since.
  if (!PyArray_ISWRITEABLE(reinterpret_cast<PyArrayObject *>(array_)))
    throw Error("the array of the image is read-only");
}

void NumpyImageView::write(VectorXu64 const & index, void const * source) {
  requireWritable();
  BorrowedMemoryView::write(index, source);
}

void NumpyImageView::writeRegion(RegionXu64 const & region, void const * source) {
  requireWritable();
  auto const & strides = indexer().byteStride();
  if (std::find(strides.begin(), strides.end(), uint64_t{0}) == strides.end()) {
    BorrowedMemoryView::writeRegion(region, source);
    return;
  }
  Indexer const dense(region.size(), dataType());
  VectorXu64 sourceOrigin(region.dimensionCount());
  auto size = region.size();
  // Along an axis of stride 0 every element is the same one: the last one written stays.
  for (size_t axis = 0; axis < size.size() && axis < strides.size(); ++axis) {
    if (strides[axis] == 0 && size[axis] > 1) {
      sourceOrigin[axis] = size[axis] - 1;
      size[axis] = 1;
    }
  }
  RegionCopier(dense, indexer(), sourceOrigin, region.origin(), size, dataType()).copy(source, buffer());
}

} // namespace zarnik
