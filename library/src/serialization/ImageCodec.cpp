#include "serialization/ImageCodec.h"

#include "serialization/Content.h"
#include "serialization/MetadataCodec.h"
#include "views/BlockWalk.h"
#include "zarnik/core/Error.h"
#include "zarnik/values/Checked.h"
#include "zarnik/values/Indexer.h"
#include "zarnik/views/ImageView.h"
#include "zarnik/views/ImageViewFactory.h"
#include "zarnik/views/TypedTransfer.h"

#include <algorithm>
#include <fmt/format.h>
#include <utility>
#include <vector>

namespace zarnik::format {
namespace {

// Samples that do not lie in memory as they are stored pass through a buffer of this size.
constexpr uint64_t SCRATCH_BYTES = BLOCK_BYTES;
// Those that do are given to the stream in parts so large that copying them goes past the cache, and so small that a
// user who waits is told some times a second.
constexpr uint64_t STORED_BYTES = 64 << 20;

template <typename V> void putVector(ContentBuilder & content, V const & vector) {
  content.putBytes(vector.data(), vector.size() * sizeof(vector[0]));
}

Vector3d getVector3d(ContentReader & content, char const * what) {
  Vector3d vector;
  for (size_t i = 0; i != 3; ++i)
    vector[i] = content.get<double>(what);
  return vector;
}

uint64_t sampleBytesOf(VectorXu64 const & shape, DataType dataType) {
  uint64_t bytes = dataType.byteCount();
  for (auto const extent : shape)
    bytes = checkedMultiply(bytes, extent, "bytes of an image");
  return bytes;
}

void putHeader(ContentBuilder & content, ImageView const & image) {
  auto const & shape = image.shape();
  content.put(uint64_t{shape.size()});
  putVector(content, shape);
  auto const properties = toldProperties(image);
  auto const & info = properties->imageInfo();
  auto const & axes = info.axesInterpretation();
  content.put(uint64_t{axes.dimensionCount()});
  for (size_t i = 0; i != axes.dimensionCount(); ++i)
    content.put(static_cast<uint32_t>(axes.dimension(i)));
  content.put(static_cast<uint32_t>(info.interpretation()));
  content.put(uint32_t{info.alpha()});
  content.put(uint64_t{info.bitDepth()});
  putVector(content, info.valueRange());
  auto const & calibration = properties->calibration();
  putVector(content, calibration.origin());
  putVector(content, calibration.spacing());
  putVector(content, calibration.directions().columnDirection());
  putVector(content, calibration.directions().rowDirection());
  content.putText(calibration.unit());
}

ImageType getAxes(ContentReader & content) {
  auto const count = content.getCount(sizeof(uint32_t), "axes of an image");
  std::vector<ImageDimension> axes(count);
  for (auto & axis : axes)
    axis = static_cast<ImageDimension>(content.get<uint32_t>("an axis of an image"));
  return {axes.data(), axes.size()};
}

std::shared_ptr<ImageProperties> getProperties(ContentReader & content) {
  auto const axes = getAxes(content);
  auto const interpretation = static_cast<ImageInterpretation>(content.get<uint32_t>("the interpretation"));
  auto const alpha = content.get<uint32_t>("whether there is alpha");
  if (alpha > 1)
    throw Error(fmt::format("whether there is alpha is {}, not 0 or 1", alpha));
  auto const bitDepth = content.get<uint64_t>("the bit depth");
  Vector2d valueRange;
  for (size_t i = 0; i != 2; ++i)
    valueRange[i] = content.get<double>("the value range");
  auto const origin = getVector3d(content, "the origin");
  auto const spacing = getVector3d(content, "the spacing");
  auto const column = getVector3d(content, "the direction of columns");
  auto const row = getVector3d(content, "the direction of rows");
  auto const unit = content.getText("the unit");
  return ImageProperties::fromProperties(
      SpatialCalibrationProperty(origin, spacing, SpatialDirections(column, row), unit),
      ImageInfoProperty(axes, interpretation, alpha != 0, bitDepth, valueRange));
}

ImageHeader getHeader(ContentReader & content, DataType dataType) {
  ImageHeader header;
  header.dataType = dataType;
  auto const rank = content.getCount(sizeof(uint64_t), "dimensions of an image");
  header.shape = VectorXu64(rank);
  for (auto & extent : header.shape)
    extent = content.get<uint64_t>("the shape");
  header.sampleBytes = sampleBytesOf(header.shape, dataType);
  header.properties = getProperties(content);
  return header;
}

/// The samples, if they lie in memory as they are stored; else none.
SharedSamples storedSamples(std::shared_ptr<ImageView> const & image) {
  if (!image->support(ImageCapability::MEMORY_ACCESS))
    return {};
  auto samples = shareSamples(image);
  auto const & indexer = samples.indexer;
  uint64_t stride = indexer.dtype().byteCount();
  for (size_t axis = 0; axis != indexer.dimensionCount(); ++axis) {
    if (indexer.shape()[axis] != 1 && indexer.byteStride()[axis] != stride)
      return {};
    stride *= indexer.shape()[axis];
  }
  return samples;
}

/// The size of the blocks of at most so many elements that follow each other as the elements are stored: whole along
/// the first dimensions, a part of one, single along the others.
VectorXu64 storedRuns(VectorXu64 const & shape, uint64_t elements) {
  VectorXu64 runs(shape.size());
  for (size_t axis = 0; axis != shape.size(); ++axis) {
    runs[axis] = std::clamp<uint64_t>(elements, 1, std::max<uint64_t>(1, shape[axis]));
    elements = runs[axis] < shape[axis] ? 1 : elements / runs[axis];
  }
  return runs;
}

} // namespace

void writeImageHeader(ObjectWriter & writer, ImageView const & image) {
  ContentBuilder header;
  putHeader(header, image);
  writer.writeSection(IMAGE_HEADER, header.bytes());
  if (auto const metadata = image.metadata()) {
    ContentBuilder tree;
    putMetadata(tree, *metadata);
    writer.writeSection(METADATA, tree.bytes());
  }
  writer.align();
  writer.beginSection(PIXELS, sampleBytesOf(image.shape(), image.dataType()));
}

ImageHeader readImageHeader(ObjectReader & reader) {
  reader.next({IMAGE_HEADER});
  auto const bytes = reader.readSection();
  ContentReader content(bytes, "IMAG");
  auto header = getHeader(content, reader.dataType());
  if (reader.next({METADATA, PIXELS}) == METADATA) {
    auto const tree = reader.readSection();
    ContentReader nodes(tree, "META");
    header.metadata = getMetadata(nodes);
    nodes.requireEnd();
    reader.next({PIXELS});
  }
  if (reader.length() != header.sampleBytes)
    reader.fail(fmt::format("section 'PIXL' has {} bytes, an image of shape {} and type {} has {}", reader.length(),
                            header.shape.toString(), header.dataType.toString(), header.sampleBytes));
  header.properties->requireCompatibleWith(header.shape, header.dataType);
  return header;
}

SampleBlocks::SampleBlocks(std::shared_ptr<ImageView> image)
    : image_(std::move(image)), stored_(storedSamples(image_)),
      shape_(stored_.owner ? stored_.indexer.shape() : image_->shape()),
      type_(stored_.owner ? stored_.indexer.dtype() : image_->dataType()) {
  auto const elements = std::max<uint64_t>(1, (stored_.owner ? STORED_BYTES : SCRATCH_BYTES) / type_.byteCount());
  runs_ = storedRuns(shape_, elements);
  uint64_t all = 1;
  for (size_t axis = 0; axis != shape_.size(); ++axis) {
    count_ *= (shape_[axis] + runs_[axis] - 1) / runs_[axis];
    all *= shape_[axis];
  }
  if (!stored_.owner && count_ != 0)
    scratch_ = allocateBlock(std::min(all, elements) * type_.byteCount());
}

void SampleBlocks::write(uint64_t index, ObjectWriter & writer) {
  VectorXu64 origin(shape_.size()), size(shape_.size());
  uint64_t elements = 1;
  uint64_t first = 0;
  uint64_t stride = 1;
  for (size_t axis = 0; axis != shape_.size(); ++axis) {
    auto const blocks = (shape_[axis] + runs_[axis] - 1) / runs_[axis];
    origin[axis] = index % blocks * runs_[axis];
    size[axis] = std::min(runs_[axis], shape_[axis] - origin[axis]);
    index /= blocks;
    elements *= size[axis];
    first += origin[axis] * stride;
    stride *= shape_[axis];
  }
  auto const bytes = elements * type_.byteCount();
  if (stored_.owner) {
    writer.write(static_cast<std::byte const *>(stored_.data) + first * type_.byteCount(), bytes);
    return;
  }
  readRegionAs(*image_, RegionXu64(origin, size), type_, scratch_.get());
  writer.write(scratch_.get(), bytes);
}

void requireStorable(std::shared_ptr<ImageView> const & image) {
  if (!image)
    throw InvalidArgument("there is no image to encode");
  if (!image->support(ImageCapability::READ))
    throw NotImplemented("the image does not support READ, which encoding needs");
  if (!image->dataType().isNumeric())
    throw InvalidArgument(fmt::format("samples of type {} cannot be stored", image->dataType().toString()));
}

void encodeImage(std::shared_ptr<ImageView> const & image, std::shared_ptr<StreamAccess> stream) {
  requireStorable(image);
  ObjectWriter writer(std::move(stream), Kind::IMAGE, image->dataType());
  writeImageHeader(writer, *image);
  SampleBlocks blocks(image);
  for (uint64_t block = 0; block != blocks.count(); ++block)
    blocks.write(block, writer);
  writer.endSection();
  writer.finish();
}

std::shared_ptr<ImageView> decodeImage(std::shared_ptr<StreamAccess> stream) {
  ObjectReader reader(std::move(stream), Kind::IMAGE, "an ImageView");
  auto const header = readImageHeader(reader);
  auto image = ImageViewFactory::allocate(header.shape, header.dataType, header.properties, header.metadata);
  reader.read(image->buffer(), reader.left());
  reader.endSection();
  reader.finish();
  return image;
}

} // namespace zarnik::format
