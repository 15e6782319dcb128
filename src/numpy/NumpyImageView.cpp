#include "numpy/NumpyImageView.h"

#include "module/NumpyApi.h"
#include "numpy/NumpyTypes.h"
#include "zarnik/core/Error.h"
#include "zarnik/layout/RegionCopier.h"
#include "zarnik/values/RegionX.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace zarnik {

namespace {

PyArrayObject * asArray(python::Reference const & reference) {
  return reinterpret_cast<PyArrayObject *>(reference.get());
}

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

NumpyImageView::NumpyImageView(PyObject * array, ImageDimension const * dimensions, size_t dimensionCount,
                               ImageInterpretation interpretation, bool hasAlpha)
    : array_(python::Reference::share(array)) {
  setUp({dimensions, dimensionCount}, interpretation, hasAlpha);
}

NumpyImageView::NumpyImageView(PyObject * array, ImageType axesInterpretation, ImageInterpretation interpretation,
                               bool hasAlpha)
    : array_(python::Reference::share(array)) {
  setUp(dimensionsInNumpyOrder(axesInterpretation), interpretation, hasAlpha);
}

void NumpyImageView::setUp(std::span<ImageDimension const> dimensions, ImageInterpretation interpretation,
                           bool hasAlpha) {
  auto * const array = asArray(array_);
  auto const rank = static_cast<size_t>(PyArray_NDIM(array));
  // Compared before and after the type is made: a list of another length is refused first, and a dimension named
  // twice would leave an axis without a place.
  auto const type = dimensions.size() == rank ? ImageType(dimensions.data(), dimensions.size()) : ImageType();
  if (dimensions.size() != rank || type.dimensionCount() != rank)
    throw Error("Given dimensions list is not compatible with array shape");

  shape_ = VectorXu64(rank);
  VectorXu64 layout(rank);
  VectorXu64 byteStrides(rank);
  for (size_t axis = 0; axis < rank; ++axis) {
    auto const place = type.indexDimension(dimensions[axis]);
    layout[axis] = place;
    shape_[place] = static_cast<uint64_t>(PyArray_DIMS(array)[axis]);
    byteStrides[place] = static_cast<uint64_t>(PyArray_STRIDES(array)[axis]);
  }
  dataType_ = python::dataTypeOfNumpy(PyArray_TYPE(array));
  if (PyArray_ISBYTESWAPPED(array))
    throw Error("Unsupported numpy data type");
  if (isRowMajor(array))
    std::reverse(layout.begin(), layout.end());
  indexer_ = Indexer(shape_, dataType_, byteStrides, layout);

  properties_ = ImageProperties::fromDataType(dataType_);
  auto & info = properties_->imageInfo();
  info.setAxesInterpretation(type);
  info.setInterpretation(interpretation);
  info.setAlpha(hasAlpha);
  if (!properties_->isCompatibleWith(shape_, dataType_))
    throw Error("Given information are not compatible with Numpy");
}

ImageCapabilitySet NumpyImageView::capabilities() const {
  return ImageCapability::READ | ImageCapability::WRITE | ImageCapability::MEMORY_ACCESS;
}

VectorXu64 const & NumpyImageView::shape() const { return shape_; }
DataType NumpyImageView::dataType() const { return dataType_; }
std::shared_ptr<ImageProperties const> NumpyImageView::properties() const { return properties_; }
std::shared_ptr<MetadataNode const> NumpyImageView::metadata() const { return metadata_; }
Indexer const & NumpyImageView::indexer() const { return indexer_; }

void NumpyImageView::setProperties(std::shared_ptr<ImageProperties const> properties) {
  if (!properties)
    throw InvalidArgument("image properties must not be null");
  properties->requireSettableOn(shape_, dataType_);
  properties_ = std::make_shared<ImageProperties>(*properties);
}

void NumpyImageView::setMetadata(std::shared_ptr<MetadataNode const> metadata) {
  metadata_ = metadata ? metadata->clone() : nullptr;
}

void * NumpyImageView::buffer() { return PyArray_DATA(asArray(array_)); }
void const * NumpyImageView::buffer() const { return PyArray_DATA(asArray(array_)); }

size_t NumpyImageView::bufferSize() const {
  auto * const array = asArray(array_);
  return static_cast<size_t>(PyArray_MultiplyList(PyArray_DIMS(array), PyArray_NDIM(array))) *
         static_cast<size_t>(PyArray_ITEMSIZE(array));
}

// Offsets wrap modulo 2^64, which is how negative strides reach memory before the data pointer.
void NumpyImageView::read(VectorXu64 const & index, void * destination) {
  std::memmove(destination, static_cast<char *>(buffer()) + indexer_.byteOffset(index), dataType_.byteCount());
}

void NumpyImageView::write(VectorXu64 const & index, void const * source) {
  std::memmove(static_cast<char *>(buffer()) + indexer_.byteOffset(index), source, dataType_.byteCount());
}

void NumpyImageView::readRegion(RegionXu64 const & region, void * destination) {
  readDense(indexer_, buffer(), region, destination);
}

void NumpyImageView::writeRegion(RegionXu64 const & region, void const * source) {
  auto const & strides = indexer_.byteStride();
  if (std::find(strides.begin(), strides.end(), uint64_t{0}) == strides.end()) {
    writeDense(indexer_, buffer(), region, source);
    return;
  }
  Indexer const dense(region.size(), dataType_);
  VectorXu64 sourceOrigin(region.dimensionCount());
  auto size = region.size();
  // Along an axis of stride 0 every element is the same one: the last one written stays.
  for (size_t axis = 0; axis < size.size() && axis < strides.size(); ++axis)
    if (strides[axis] == 0 && size[axis] > 1) {
      sourceOrigin[axis] = size[axis] - 1;
      size[axis] = 1;
    }
  RegionCopier(dense, indexer_, sourceOrigin, region.origin(), size, dataType_).copy(source, buffer());
}

} // namespace zarnik
