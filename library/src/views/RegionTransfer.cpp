#include "views/RegionTransfer.h"

#include "layout/CopyPlan.h"
#include "layout/LoopNest.h"
#include "views/BlockWalk.h"
#include "views/MemoryImageView.h"
#include "zarnik/core/Error.h"
#include "zarnik/core/Interruption.h"
#include "zarnik/values/Checked.h"
#include "zarnik/views/BorrowedMemoryView.h"
#include "zarnik/views/ImageView.h"
#include "zarnik/views/SharedSamples.h"
#include "zarnik/views/TilingInfoExtension.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <limits>
#include <new>
#include <numeric>
#include <span>
#include <utility>

namespace zarnik {
namespace {

constexpr uint64_t BLOCK_BYTES = uint64_t{1} << 20;
// Rather than asking anew, this many bytes between two parts are read along.
constexpr uint64_t WASTED_BYTES = 4096;
// Values of a block that goes through several conversions: it stays in the cache next to the core.
constexpr uint64_t CONVERTED_VALUES = 8192;

using Extents = std::array<uint64_t, CopyPlan::MAXIMUM_RANK>;

std::byte const * moved(void const * memory, uint64_t distance) {
  return static_cast<std::byte const *>(memory) + static_cast<int64_t>(distance);
}
std::byte * moved(void * memory, uint64_t distance) {
  return static_cast<std::byte *>(memory) + static_cast<int64_t>(distance);
}

uint64_t offsetOf(VectorXu64 const & index, SampleStrides const & strides) {
  uint64_t offset = 0;
  for (size_t axis = 0; axis < index.size(); ++axis)
    offset += index[axis] * strides.byteStrides[axis];
  return offset;
}

/// The loops of a transfer, the components being the first one unless they are part of the element.
struct Loops {
  Loops(VectorXu64 const & extents, uint64_t components, SampleStrides const & from, SampleStrides const & to) {
    if (extents.size() + 1 > CopyPlan::MAXIMUM_RANK)
      throw InvalidArgument(fmt::format("a region of {} dimensions is above the {} that can be transferred",
                                        extents.size(), CopyPlan::MAXIMUM_RANK - 1));
    if (components != 1)
      add(components, from.componentStride, to.componentStride);
    for (size_t axis = 0; axis < extents.size(); ++axis)
      add(extents[axis], from.byteStrides[axis], to.byteStrides[axis]);
  }

  void add(uint64_t extent, uint64_t sourceStride, uint64_t destinationStride) {
    size[rank] = extent;
    source[rank] = sourceStride;
    destination[rank++] = destinationStride;
  }

  std::span<uint64_t const> of(Extents const & values) const { return {values.data(), rank}; }

  Extents size, source, destination;
  size_t rank = 0;
};

/// Whether no converted value that is written changes one that is read later.
bool isInOrder(Loops const & loops, ValueConversion const & conversion, void const * source, void const * destination) {
  layout::LoopNest const nest(loops.of(loops.size), loops.of(loops.source), loops.of(loops.destination));
  return nest.overlap(moved(source, nest.sourceOffset), byteCountOf(conversion.from()),
                      moved(destination, nest.destinationOffset),
                      byteCountOf(conversion.steps().back().type)) != layout::Overlap::SHARED;
}

void convertInBlocks(Loops const & loops, ValueConversion const & conversion, void const * source, void * destination);

/// Converts between regions that share memory as if the whole source were read first.
void convertThroughTemporary(Loops const & loops, ValueConversion const & conversion, void const * source,
                             void * destination) {
  auto toTemporary = loops;
  auto bytes = byteCountOf(conversion.steps().back().type);
  auto const valueBytes = bytes;
  for (size_t axis = 0; axis < loops.rank; ++axis) {
    toTemporary.destination[axis] = bytes;
    bytes = checkedMultiply(bytes, loops.size[axis], "bytes to convert");
  }
  auto const temporary = allocateBlock(bytes);
  convertInBlocks(toTemporary, conversion, source, temporary.get());
  copyStrided(loops.of(loops.size), loops.of(toTemporary.destination), loops.of(loops.destination), valueBytes,
              temporary.get(), destination);
}

void convertInBlocks(Loops const & loops, ValueConversion const & conversion, void const * source, void * destination) {
  if (!isInOrder(loops, conversion, source, destination))
    return convertThroughTemporary(loops, conversion, source, destination);
  auto const & steps = conversion.steps();
  VectorXu64 const size(loops.size.data(), loops.size.data() + loops.rank);
  auto extents = VectorXu64::createUniform(loops.rank, 1);
  VectorXu64 order(loops.rank);
  std::iota(order.begin(), order.end(), uint64_t{0});
  std::sort(order.begin(), order.end(), [&](uint64_t left, uint64_t right) {
    auto const magnitude = [](uint64_t stride) { return std::min(stride, 0 - stride); };
    return std::pair(magnitude(loops.destination[left]), left) < std::pair(magnitude(loops.destination[right]), right);
  });
  uint64_t room = CONVERTED_VALUES;
  for (auto const axis : order) {
    extents[axis] = std::clamp<uint64_t>(size[axis], 1, room);
    room /= extents[axis];
  }
  auto const scratch = allocateBlock(2 * CONVERTED_VALUES * 8);
  std::byte * const halves[] = {scratch.get(), scratch.get() + CONVERTED_VALUES * 8};
  forEachBlock(size, extents, VectorXu64(loops.rank), [&](VectorXu64 const & first, VectorXu64 const & count) {
    uint64_t from = 0, to = 0, values = 1;
    Extents dense; // in values
    for (size_t axis = 0; axis < loops.rank; ++axis) {
      from += first[axis] * loops.source[axis];
      to += first[axis] * loops.destination[axis];
      dense[axis] = values;
      values *= count[axis];
    }
    auto const denseStrides = [&](ScalarType type) {
      Extents strides;
      for (size_t axis = 0; axis < loops.rank; ++axis)
        strides[axis] = dense[axis] * byteCountOf(type);
      return strides;
    };
    std::span const counts(count.data(), loops.rank);
    auto type = conversion.from();
    for (size_t step = 0; step < steps.size(); ++step) {
      bool const isFirst = step == 0, isLast = step + 1 == steps.size();
      convertStrided(counts, loops.of(isFirst ? loops.source : denseStrides(type)),
                     loops.of(isLast ? loops.destination : denseStrides(steps[step].type)), type, steps[step].type,
                     isFirst ? moved(source, from) : halves[(step + 1) % 2],
                     isLast ? moved(destination, to) : halves[step % 2], steps[step].map);
      type = steps[step].type;
    }
  });
}

/// Moves the components of samples from one place in memory to another.
void move(VectorXu64 const & size, ComponentFormat components, ValueConversion const & conversion, void const * source,
          SampleStrides const & from, void * destination, SampleStrides const & to) {
  auto const & steps = conversion.steps();
  if (steps.empty()) {
    bool const together = from.componentStride == components.bytes && to.componentStride == components.bytes;
    Loops const loops(size, together ? 1 : components.count, from, to);
    copyStrided(loops.of(loops.size), loops.of(loops.source), loops.of(loops.destination),
                together ? components.count * components.bytes : components.bytes, source, destination);
    return;
  }
  Loops const loops(size, components.count, from, to);
  if (steps.size() > 1)
    return convertInBlocks(loops, conversion, source, destination);
  convertStrided(loops.of(loops.size), loops.of(loops.source), loops.of(loops.destination), conversion.from(),
                 steps.front().type, source, destination, steps.front().map);
}

/// The components that a region has of an image's samples.
ComponentFormat componentsOf(SampleRegion const & region, DataType type) {
  ComponentFormat components(type);
  components.count = region.componentCount;
  return components;
}

/// Where the samples of a region are in an image's memory.
struct Place {
  Place(Indexer const & indexer, SampleRegion const & region, ComponentFormat components)
      : strides{indexer.byteStride(), components.bytes}, offset(region.firstComponent * components.bytes) {
    for (size_t axis = 0; axis < region.size.size(); ++axis) {
      offset += region.origin[axis] * strides.byteStrides[axis];
      strides.byteStrides[axis] *= region.step[axis];
    }
  }

  SampleStrides strides;
  uint64_t offset;
};

/// \return the memory of an image for reading, null if it has none
void const * memoryOf(ImageView & image) {
  if (image.support(ImageCapability::MEMORY_ACCESS) && image.support(ImageCapability::READ))
    return std::as_const(image).buffer();
  auto const * const borrowed = dynamic_cast<BorrowedMemoryView const *>(&image);
  return borrowed == nullptr ? nullptr : borrowed->buffer();
}

bool isWhole(SampleRegion const & region, DataType type) {
  return region.componentCount == ComponentFormat(type).count;
}

bool hasSteps(SampleRegion const & region) {
  for (size_t axis = 0; axis < region.size.size(); ++axis)
    if (region.step[axis] != 1 && region.size[axis] > 1)
      return true;
  return false;
}

bool isDense(VectorXu64 const & size, SampleStrides const & strides, ComponentFormat components) {
  if (strides.componentStride != components.bytes && components.count > 1)
    return false;
  auto expected = components.count * components.bytes;
  for (size_t axis = 0; axis < size.size(); ++axis) {
    if (size[axis] != 1 && strides.byteStrides[axis] != expected)
      return false;
    expected *= size[axis];
  }
  return true;
}

/// The elements that are read to have `count` of every `step`-th.
uint64_t covered(uint64_t count, uint64_t step) { return (count - 1) * step + 1; }

/// How a region is cut to be transferred with the dense slots of an image.
struct Blocks {
  Blocks(ImageView & image, SampleRegion const & region)
      : extents(VectorXu64::createUniform(region.size.size(), 1)), begin(region.size.size()) {
    auto const tiling = hasSteps(region) ? nullptr : image.tilingInfo();
    auto const tile = tiling ? tiling->maxTileSize() : extents;
    auto bytes = region.type.byteCount();
    if (tiling)
      for (auto const extent : tile)
        bytes = checkedMultiply(bytes, std::max<uint64_t>(extent, 1), "bytes of a tile");
    uint64_t room = std::max<uint64_t>(BLOCK_BYTES / bytes, 1);
    auto stride = region.type.byteCount();
    for (size_t axis = 0; axis < extents.size(); ++axis) {
      auto const unit = std::max<uint64_t>(tile[axis], 1);
      auto const step = region.step[axis];
      begin[axis] = region.origin[axis] % unit;
      // How many units along this axis fit into the room, elements in between included.
      auto const units = step == 1 ? room : (room - 1) / step + 1;
      bool const skips = step > 1 && (step - 1) * stride > WASTED_BYTES;
      auto const wanted = (region.size[axis] + begin[axis] - 1) / unit + 1;
      auto const taken = skips ? 1 : std::min(wanted, std::max<uint64_t>(units, 1));
      extents[axis] = taken * unit;
      room = std::max<uint64_t>(room / covered(taken, step), 1);
      stride *= covered(std::min(extents[axis], region.size[axis]), step);
    }
  }

  VectorXu64 extents;
  VectorXu64 begin;
};

/// Calls visit(the region of the image to transfer, index of its first sample in the wanted region, samples wanted).
template <typename Visit> void forEachDenseRegion(ImageView & image, SampleRegion const & region, Visit const & visit) {
  Blocks const blocks(image, region);
  forEachBlock(region.size, blocks.extents, blocks.begin, [&](VectorXu64 const & first, VectorXu64 const & size) {
    VectorXu64 origin(size.size()), dense(size.size());
    for (size_t axis = 0; axis < size.size(); ++axis) {
      origin[axis] = region.origin[axis] + first[axis] * region.step[axis];
      dense[axis] = covered(size[axis], region.step[axis]);
    }
    visit(RegionXu64(origin, dense), first, size);
  });
}

/// The wanted samples in a dense block.
struct InBlock {
  InBlock(SampleRegion const & region, RegionXu64 const & block, DataType type)
      : strides(SampleStrides::dense(block.size(), ComponentFormat(type).count, ComponentFormat(type).bytes)),
        offset(region.firstComponent * strides.componentStride) {
    for (size_t axis = 0; axis < region.step.size(); ++axis)
      strides.byteStrides[axis] *= region.step[axis];
  }

  SampleStrides strides;
  uint64_t offset;
};

void readThroughBlocks(ImageView & image, SampleRegion const & region, ValueConversion const & conversion,
                       void * destination, SampleStrides const & strides) {
  auto const type = region.type;
  auto const components = componentsOf(region, type);
  bool const isPlain = conversion.isEmpty() && isWhole(region, type) && !hasSteps(region);
  if (isPlain && isDense(region.size, strides, components))
    return image.readRegion(RegionXu64(region.origin, region.size), destination);
  Scratch scratch;
  forEachDenseRegion(image, region, [&](RegionXu64 const & block, VectorXu64 const & first, VectorXu64 const & size) {
    auto * const to = moved(destination, offsetOf(first, strides));
    if (isPlain && isDense(size, strides, components))
      return image.readRegion(block, to);
    auto * const dense = scratch.atLeast(checkedMultiply(block.elementCount(), type.byteCount(), "bytes of a block"));
    image.readRegion(block, dense);
    InBlock const from(region, block, type);
    move(size, components, conversion, dense + from.offset, from.strides, to, strides);
  });
}

void writeThroughBlocks(ImageView & image, SampleRegion const & region, ValueConversion const & conversion,
                        void const * source, SampleStrides const & strides) {
  auto const type = region.type;
  auto const components = componentsOf(region, type);
  bool const isWhole = zarnik::isWhole(region, type);
  bool const isPlain = conversion.isEmpty() && isWhole && !hasSteps(region);
  if (isPlain && isDense(region.size, strides, components))
    return image.writeRegion(RegionXu64(region.origin, region.size), source);
  Scratch scratch;
  forEachDenseRegion(image, region, [&](RegionXu64 const & block, VectorXu64 const & first, VectorXu64 const & size) {
    auto const * const from = moved(source, offsetOf(first, strides));
    if (isPlain && isDense(size, strides, components))
      return image.writeRegion(block, from);
    auto * const dense = scratch.atLeast(checkedMultiply(block.elementCount(), type.byteCount(), "bytes of a block"));
    if (!isWhole || block.size() != size)
      image.readRegion(block, dense);
    InBlock const to(region, block, type);
    move(size, components, conversion, from, strides, dense + to.offset, to.strides);
    image.writeRegion(block, dense);
  });
}

void requireInside(SampleRegion const & region, VectorXu64 const & shape, DataType type) {
  requireUnchanged(region.shape == nullptr ? shape : *region.shape, region.type, {shape, type});
  auto const rank = shape.size();
  if (region.origin.size() != rank || region.size.size() != rank || region.step.size() != rank)
    throw InvalidArgument(
        fmt::format("a region of {} dimensions does not fit the {} of the image", region.size.size(), rank));
  for (size_t axis = 0; axis < rank; ++axis) {
    auto const extent = shape[axis], origin = region.origin[axis], count = region.size[axis];
    if (count != 0 && (origin >= extent || (count - 1) > (extent - 1 - origin) / region.step[axis]))
      throw InvalidArgument(fmt::format("region origin {} + {} elements at step {} exceeds image shape {} on axis {}",
                                        origin, count, region.step[axis], shape.toString(), axis));
  }
  auto const components = ComponentFormat(type).count;
  if (region.firstComponent > components || region.componentCount > components - region.firstComponent)
    throw InvalidArgument(fmt::format("components {} to {} exceed those of type {}", region.firstComponent,
                                      region.firstComponent + region.componentCount, type.toString()));
}

/// A share of the image's samples, without an owner if it has none to share.
SharedSamples sharedBy(ImageView const & image) {
  auto const * const sharing = dynamic_cast<SampleSharing const *>(&image);
  return sharing == nullptr ? SharedSamples() : sharing->shareSamples();
}

} // namespace

std::byte * Scratch::atLeast(uint64_t bytes) {
  if (bytes > bytes_) {
    memory_.reset();
    memory_ = allocateBlock(bytes);
    bytes_ = bytes;
  }
  return memory_.get();
}

std::unique_ptr<std::byte[]> allocateBlock(uint64_t bytes) {
  std::unique_ptr<std::byte[]> block(new (std::nothrow) std::byte[bytes]);
  if (!block)
    throw Error(fmt::format("cannot allocate {} bytes to transfer a region", bytes));
  return block;
}

void requireUninterrupted() {
  if (InterruptionScope::isRequested())
    throw Error("the transfer of a region was interrupted");
}

StridedTransfer::~StridedTransfer() = default;
bool StridedTransfer::readsToWriteComponents() const { return false; }
bool StridedTransfer::mayTouchSources(void const *, void const *) const { return true; }

SampleRegion SampleRegion::whole(RegionXu64 const & region, DataType type) {
  return {region.origin(),
          region.size(),
          VectorXu64::createUniform(region.dimensionCount(), 1),
          0,
          ComponentFormat(type).count,
          type};
}

bool SampleRegion::isEmpty() const {
  return componentCount == 0 || std::find(size.begin(), size.end(), uint64_t{0}) != size.end();
}

SampleStrides SampleStrides::dense(VectorXu64 const & size, uint64_t componentCount, uint64_t componentBytes) {
  SampleStrides strides{VectorXu64(size.size()), componentBytes};
  auto stride = componentCount * componentBytes;
  for (size_t axis = 0; axis < size.size(); ++axis) {
    strides.byteStrides[axis] = stride;
    stride *= size[axis];
  }
  return strides;
}

void requireFits(SampleRegion const & region, Indexer const & indexer) {
  requireInside(region, indexer.shape(), indexer.dtype());
}

void readSamples(ImageView & image, SampleRegion const & region, ValueConversion const & conversion, void * destination,
                 SampleStrides const & strides) {
  if (auto const shared = sharedBy(image); shared.owner && image.support(ImageCapability::READ)) {
    requireFits(region, shared.indexer);
    return readMemory(shared.indexer, shared.data, region, conversion, destination, strides);
  }
  requireInside(region, image.shape(), image.dataType());
  if (region.isEmpty())
    return;
  if (auto * const strided = dynamic_cast<StridedTransfer *>(&image))
    return strided->readStrided(region, conversion, destination, strides);
  if (auto const * const memory = memoryOf(image)) {
    auto const & indexer = image.indexer();
    requireFits(region, indexer);
    return readMemory(indexer, memory, region, conversion, destination, strides);
  }
  readThroughBlocks(image, region, conversion, destination, strides);
}

void writeSamples(ImageView & image, SampleRegion const & region, ValueConversion const & conversion,
                  void const * source, SampleStrides const & strides) {
  // Others may refuse to write what they share.
  if (dynamic_cast<MemoryImageView *>(&image) != nullptr) {
    auto const shared = sharedBy(image);
    requireFits(region, shared.indexer);
    return writeMemory(shared.indexer, shared.data, region, conversion, source, strides);
  }
  requireInside(region, image.shape(), image.dataType());
  if (region.isEmpty())
    return;
  if (auto * const strided = dynamic_cast<StridedTransfer *>(&image))
    return strided->writeStrided(region, conversion, source, strides);
  if (auto const * const borrowed = dynamic_cast<BorrowedMemoryView const *>(&image))
    borrowed->requireWritable();
  if (image.support(ImageCapability::MEMORY_ACCESS) && image.support(ImageCapability::WRITE)) {
    auto const & indexer = image.indexer();
    requireFits(region, indexer);
    return writeMemory(indexer, image.buffer(), region, conversion, source, strides);
  }
  writeThroughBlocks(image, region, conversion, source, strides);
}

ImageGeometry geometryOf(ImageView const & image) {
  if (auto const shared = sharedBy(image); shared.owner)
    return {shared.indexer.shape(), shared.indexer.dtype()};
  return {image.shape(), image.dataType()};
}

void requireUnchanged(VectorXu64 const & shape, DataType type, ImageGeometry const & now) {
  if (now.shape != shape || now.type != type)
    throw Error(fmt::format("the image that the view was made from was reshaped since, from shape {} of {} to {} of {}",
                            shape.toString(), type.toString(), now.shape.toString(), now.type.toString()));
}

bool readsToWriteComponents(ImageView const & image) {
  if (auto const * const strided = dynamic_cast<StridedTransfer const *>(&image))
    return strided->readsToWriteComponents();
  return !image.support(ImageCapability::MEMORY_ACCESS);
}

void readMemory(Indexer const & indexer, void const * memory, SampleRegion const & region,
                ValueConversion const & conversion, void * destination, SampleStrides const & strides) {
  auto const components = componentsOf(region, indexer.dtype());
  Place const place(indexer, region, components);
  move(region.size, components, conversion, moved(memory, place.offset), place.strides, destination, strides);
}

void writeMemory(Indexer const & indexer, void * memory, SampleRegion const & region,
                 ValueConversion const & conversion, void const * source, SampleStrides const & strides) {
  auto components = componentsOf(region, indexer.dtype());
  Place const place(indexer, region, components);
  move(region.size, components, conversion, source, strides, moved(memory, place.offset), place.strides);
}

void requireInside(RegionXu64 const & region, VectorXu64 const & shape) {
  auto const & origin = region.origin();
  auto const & size = region.size();
  if (origin.size() != shape.size())
    throw InvalidArgument(fmt::format("a region with origin {} and size {} does not fit the {} dimensions of the image",
                                      origin.toString(), size.toString(), shape.size()));
  for (size_t axis = 0; axis < shape.size(); ++axis) {
    if (origin[axis] > shape[axis] || size[axis] > shape[axis] - origin[axis])
      throw InvalidArgument(fmt::format("region origin {} + size {} exceeds the image shape {} on axis {}",
                                        origin.toString(), size.toString(), shape.toString(), axis));
  }
}

} // namespace zarnik
