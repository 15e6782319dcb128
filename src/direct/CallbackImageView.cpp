#include "direct/CallbackImageView.h"

#include "module/CausedError.h"
#include "zarnik/metadata/ImageProperties.h"
#include "zarnik/values/Checked.h"
#include "zarnik/views/GridTiling.h"
#include "zarnik/views/ParallelAccessExtension.h"
#include "zarnik/views/ViewOriginExtension.h"

#include <fmt/format.h>
#include <utility>

namespace zarnik::python {

namespace {

/// PyBUF_READ and PyBUF_WRITE, which the limited interface does not name before 3.11.
constexpr int BUFFER_READABLE = 0x100;
constexpr int BUFFER_WRITABLE = 0x200;

Reference tupleOf(VectorXu64 const & vector) {
  auto tuple = Reference::steal(PyTuple_New(static_cast<Py_ssize_t>(vector.size())));
  for (size_t axis = 0; tuple && axis < vector.size(); ++axis)
    if (PyTuple_SetItem(tuple.get(), static_cast<Py_ssize_t>(axis), PyLong_FromUnsignedLongLong(vector[axis])) != 0)
      return Reference();
  return tuple;
}

void requireInside(RegionXu64 const & region, VectorXu64 const & shape) {
  auto const & origin = region.origin();
  auto const & size = region.size();
  if (origin.size() != shape.size())
    throw InvalidArgument(
        fmt::format("a region of {} dimensions does not fit the {} of the image", origin.size(), shape.size()));
  for (size_t axis = 0; axis < shape.size(); ++axis) {
    if (origin[axis] > shape[axis] || size[axis] > shape[axis] - origin[axis])
      throw InvalidArgument(fmt::format("region origin {} + size {} exceeds the image shape {} on axis {}",
                                        origin.toString(), size.toString(), shape.toString(), axis));
  }
}

} // namespace

std::shared_ptr<ImageView> CallbackImageView::create(VectorXu64 shape, DataType dataType, ImageType axes,
                                                     VectorXu64 tileSize, KeptObject fill,
                                                     std::optional<KeptObject> store, std::string name) {
  return std::shared_ptr<ImageView>(new CallbackImageView(std::move(shape), dataType, axes, std::move(tileSize),
                                                          std::move(fill), std::move(store), std::move(name)));
}

CallbackImageView::CallbackImageView(VectorXu64 shape, DataType dataType, ImageType axes, VectorXu64 tileSize,
                                     KeptObject fill, std::optional<KeptObject> store, std::string name)
    : shape_(std::move(shape)), dataType_(dataType), tileSize_(std::move(tileSize)), fill_(std::move(fill)),
      store_(std::move(store)), origin_(ViewOriginExtension::create(ViewDataOrigin::UNKNOWN, std::move(name))) {
  auto properties = ImageProperties::fromDataType(dataType);
  properties->imageInfo().setAxesInterpretation(axes);
  properties->requireCompatibleWith(shape_, dataType);
  properties_ = std::move(properties);
}

CallbackImageView::~CallbackImageView() = default;

std::shared_ptr<Extension> CallbackImageView::extension(size_t id) const {
  switch (id) {
  case ViewOriginExtension::EXTENSION_ID:
    return origin_;
  case ParallelAccessExtension::EXTENSION_ID:
    // Threads that read for a caller who holds the interpreter's lock would wait for it for ever.
    return ParallelAccessExtension::create({});
  case TilingInfoExtension::EXTENSION_ID:
    if (tileSize_.size() == 0)
      return nullptr;
    return std::make_shared<GridTiling>(std::const_pointer_cast<CallbackImageView>(shared_from_this()), tileSize_);
  default:
    return nullptr;
  }
}

ImageCapabilitySet CallbackImageView::capabilities() const {
  ImageCapabilitySet capabilities = ImageCapability::READ;
  return store_ ? capabilities | ImageCapability::WRITE : capabilities;
}

void CallbackImageView::read(VectorXu64 const & index, void * destination) {
  readRegion(RegionXu64(index, VectorXu64::createUniform(index.size(), 1)), destination);
}

void CallbackImageView::readRegion(RegionXu64 const & region, void * destination) {
  requireInside(region, shape_);
  auto const bytes = checkedMultiply(region.elementCount(), dataType_.byteCount(), "bytes of a region");
  if (bytes == 0)
    return;
  WithLock const lock;
  call(fill_, "read", region,
       Reference::steal(
           PyMemoryView_FromMemory(static_cast<char *>(destination), static_cast<Py_ssize_t>(bytes), BUFFER_WRITABLE)));
}

void CallbackImageView::write(VectorXu64 const & index, void const * source) {
  writeRegion(RegionXu64(index, VectorXu64::createUniform(index.size(), 1)), source);
}

void CallbackImageView::writeRegion(RegionXu64 const & region, void const * source) {
  if (!store_)
    return ImageView::writeRegion(region, source);
  requireInside(region, shape_);
  auto const bytes = checkedMultiply(region.elementCount(), dataType_.byteCount(), "bytes of a region");
  if (bytes == 0)
    return;
  WithLock const lock;
  // Nobody writes to a buffer that is readable only.
  auto * const begin = static_cast<char *>(const_cast<void *>(source));
  call(*store_, "write", region,
       Reference::steal(PyMemoryView_FromMemory(begin, static_cast<Py_ssize_t>(bytes), BUFFER_READABLE)));
}

void CallbackImageView::call(KeptObject const & function, char const * verb, RegionXu64 const & region,
                             Reference buffer) const {
  auto const origin = tupleOf(region.origin());
  auto const size = tupleOf(region.size());
  auto const result = origin && size && buffer ? Reference::steal(PyObject_CallFunctionObjArgs(
                                                     function.get(), origin.get(), size.get(), buffer.get(), nullptr))
                                               : Reference();
  if (!result)
    throw CausedError(fmt::format("cannot {} region {} of an array", verb, region.toString()));
}

} // namespace zarnik::python
