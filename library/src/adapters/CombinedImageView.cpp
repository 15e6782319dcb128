#include "adapters/CombinedImageView.h"

#include "adapters/AdaptedImageView.h"
#include "adapters/RelabelledImageView.h"
#include "adapters/ThreadSafeImageView.h"
#include "core/FirstError.h"
#include "core/Guarded.h"
#include "core/Waiting.h"
#include "views/RestrictedImageView.h"
#include "zarnik/core/Error.h"
#include "zarnik/layout/RegionConverter.h"
#include "zarnik/views/ParallelAccessExtension.h"
#include "zarnik/views/TypedTransfer.h"

#include <algorithm>
#include <atomic>
#include <fmt/format.h>
#include <system_error>
#include <thread>
#include <utility>

namespace zarnik {
namespace {

using enum ImageCapability;

VectorXu64 inserted(VectorXu64 const & vector, size_t axis, uint64_t value) {
  VectorXu64 result(vector.size() + 1);
  std::copy_n(vector.begin(), axis, result.begin());
  result[axis] = value;
  std::copy(vector.begin() + axis, vector.end(), result.begin() + axis + 1);
  return result;
}

VectorXu64 without(VectorXu64 const & vector, size_t axis) {
  VectorXu64 result(vector.size() - 1);
  std::copy_n(vector.begin(), axis, result.begin());
  std::copy(vector.begin() + axis + 1, vector.end(), result.begin() + axis);
  return result;
}

/// How many combinations are within each other in a view, behind whatever is around them.
size_t depthOf(std::shared_ptr<ImageView> image) {
  while (true) {
    if (auto const * const combined = dynamic_cast<CombinedImageView const *>(image.get()))
      return combined->depth();
    if (auto const * const adapted = dynamic_cast<AdaptedImageView const *>(image.get()))
      image = std::shared_ptr(adapted->adaptation().source);
    else if (auto const * const relabelled = dynamic_cast<RelabelledImageView const *>(image.get()))
      image = std::shared_ptr(relabelled->relabelled());
    else if (auto const * const restricted = dynamic_cast<RestrictedImageView const *>(image.get()))
      image = std::shared_ptr(restricted->restricted());
    else if (auto const * const safe = dynamic_cast<ThreadSafeImageView const *>(image.get()))
      image = std::shared_ptr(safe->protectedImage());
    else
      return 0;
  }
}

RegionXu64 at(VectorXu64 const & index) { return {index, VectorXu64::createUniform(index.size(), 1)}; }

} // namespace

CombinedImageView::CombinedImageView(Frames frames, VectorXu64 shape, DataType type, size_t threadCount,
                                     Description description)
    : DescribedImageView(std::move(description)), frames_(std::move(frames)), frameShape_(frames_.front()->shape()),
      shape_(std::move(shape)), type_(type), threadCount_(threadCount) {
  // Transfers and releases go through all of them on one stack.
  constexpr size_t deepest = 100;
  frameTypes_.reserve(frames_.size());
  for (auto const & frame : frames_) {
    frameTypes_.push_back(frame->dataType());
    depth_ = std::max(depth_, depthOf(frame) + 1);
  }
  if (depth_ > deepest)
    throw InvalidArgument(fmt::format("{} sets of images within each other, allowed are {}", depth_, deepest));
}

CombinedImageView::~CombinedImageView() = default;

bool CombinedImageView::allowsParallel(ParallelAccessCapabilitySet flags) const {
  return std::all_of(frames_.begin(), frames_.end(), [&](auto const & frame) {
    auto const parallel = frame->parallelAccess();
    return parallel && parallel->support(flags);
  });
}

std::shared_ptr<Extension> CombinedImageView::extension(size_t id) const {
  return guarded([&]() -> std::shared_ptr<Extension> {
    using enum ParallelAccessCapability;
    if (id != ParallelAccessExtension::EXTENSION_ID)
      return DescribedImageView::extension(id);
    ParallelAccessCapabilitySet flags;
    for (auto const flag : {THREAD_SAFE, PARALLEL_READ, PARALLEL_WRITE})
      if (allowsParallel(flag))
        flags.add(flag);
    return ParallelAccessExtension::create(flags);
  });
}

ImageCapabilitySet CombinedImageView::capabilities() const {
  auto offered = READ | WRITE;
  for (auto const & frame : frames_)
    offered &= frame->capabilities();
  return offered;
}

bool CombinedImageView::mayTouchSources(void const * begin, void const * end) const {
  return std::ranges::any_of(frames_, [&](auto const & frame) { return mayTouch(*frame, begin, end); });
}

bool CombinedImageView::readsToWriteComponents() const {
  return std::any_of(frames_.begin(), frames_.end(),
                     [](auto const & frame) { return zarnik::readsToWriteComponents(*frame); });
}

void CombinedImageView::read(VectorXu64 const & index, void * destination) { readRegion(at(index), destination); }
void CombinedImageView::write(VectorXu64 const & index, void const * source) { writeRegion(at(index), source); }

void CombinedImageView::readRegion(RegionXu64 const & region, void * destination) {
  guarded([&] {
    if (!support(READ))
      return ImageView::readRegion(region, destination);
    requireInside(region, shape_);
    ComponentFormat const format(type_);
    auto const whole = SampleRegion::whole(region, type_);
    if (!whole.isEmpty())
      readStrided(whole, {}, destination, SampleStrides::dense(region.size(), format.count, format.bytes));
  });
}

void CombinedImageView::writeRegion(RegionXu64 const & region, void const * source) {
  guarded([&] {
    if (!support(WRITE))
      return ImageView::writeRegion(region, source);
    requireInside(region, shape_);
    ComponentFormat const format(type_);
    auto const whole = SampleRegion::whole(region, type_);
    if (!whole.isEmpty())
      writeStrided(whole, {}, source, SampleStrides::dense(region.size(), format.count, format.bytes));
  });
}

template <typename Transfer>
void CombinedImageView::forEachPart(std::vector<Part> const & parts, bool parallel, Transfer transfer) {
  std::atomic<size_t> next = 0;
  FirstError error;
  auto const work = [&] {
    for (auto n = next++; n < parts.size() && !error.happened(); n = next++) {
      error.guard([&] {
        auto part = parts[n];
        part.region.type = frameTypes_[part.frame];
        part.region.shape = &frameShape_;
        auto & frame = *frames_[part.frame];
        auto const now = geometryOf(frame);
        if (now.shape != frameShape_ || now.type != frameTypes_[part.frame]) {
          throw Error(fmt::format("frame {} was reshaped since, from shape {} of {} to {} of {}", part.frame,
                                  frameShape_.toString(), frameTypes_[part.frame].toString(), now.shape.toString(),
                                  now.type.toString()));
        }
        transfer(frame, part);
      });
    }
  };
  {
    // The frames are held by this view, which the caller holds: no thread has the last reference to one.
    std::vector<std::jthread> threads;
    if (parallel) {
      try {
        while (threads.size() + 1 < std::min(threadCount_, parts.size()))
          threads.emplace_back(work);
      } catch (std::system_error const &) {
        // With fewer threads than asked for it takes longer.
      }
    }
    work();
    if (!threads.empty())
      waitFor([&] { threads.clear(); });
  }
  error.rethrow();
}

void CombinedImageView::readStrided(SampleRegion const & region, ValueConversion const & conversion, void * destination,
                                    SampleStrides const & strides) {
  if (!support(READ))
    ImageView::readRegion(RegionXu64(region.origin, region.size), destination);
  bool const parallel = threadCount_ > 1 && allowsParallel(ParallelAccessCapability::PARALLEL_READ);
  forEachPart(partsOf(region, strides), parallel, [&](ImageView & frame, Part const & part) {
    readSamples(frame, part.region, conversion,
                static_cast<std::byte *>(destination) + static_cast<int64_t>(part.offset), part.strides);
  });
}

void CombinedImageView::writeStrided(SampleRegion const & region, ValueConversion const & conversion,
                                     void const * source, SampleStrides const & strides) {
  if (!support(WRITE))
    ImageView::writeRegion(RegionXu64(region.origin, region.size), source);
  bool const parallel = threadCount_ > 1 && allowsParallel(ParallelAccessCapability::PARALLEL_WRITE);
  forEachPart(partsOf(region, strides), parallel, [&](ImageView & frame, Part const & part) {
    writeSamples(frame, part.region, conversion,
                 static_cast<std::byte const *>(source) + static_cast<int64_t>(part.offset), part.strides);
  });
}

StackedImageView::StackedImageView(Frames frames, size_t axis, size_t threadCount, Description description)
    : CombinedImageView(frames, inserted(frames.front()->shape(), axis, frames.size()), frames.front()->dataType(),
                        threadCount, std::move(description)),
      axis_(axis) {}

StackedImageView::~StackedImageView() = default;

std::vector<CombinedImageView::Part> StackedImageView::partsOf(SampleRegion const & region,
                                                               SampleStrides const & strides) const {
  std::vector<Part> parts;
  parts.reserve(region.size[axis_]);
  Part part{region.origin[axis_],
            {without(region.origin, axis_), without(region.size, axis_), without(region.step, axis_),
             region.firstComponent, region.componentCount},
            {without(strides.byteStrides, axis_), strides.componentStride},
            0};
  for (uint64_t n = 0; n < region.size[axis_]; ++n) {
    parts.push_back(part);
    part.frame += region.step[axis_];
    part.offset += strides.byteStrides[axis_];
  }
  return parts;
}

InterlacedImageView::InterlacedImageView(Frames frames, DataType type, Description description)
    : CombinedImageView(frames, frames.front()->shape(), type, 1, std::move(description)) {
  uint64_t first = 0;
  for (auto const & frame : frames) {
    firstComponents_.push_back(first);
    first += frame->dataType().elementCount();
  }
  firstComponents_.push_back(first);
}

InterlacedImageView::~InterlacedImageView() = default;

std::vector<CombinedImageView::Part> InterlacedImageView::partsOf(SampleRegion const & region,
                                                                  SampleStrides const & strides) const {
  std::vector<Part> parts;
  auto const end = region.firstComponent + region.componentCount;
  for (size_t frame = 0; frame < frames().size(); ++frame) {
    auto const first = std::max(firstComponents_[frame], region.firstComponent);
    auto const last = std::min(firstComponents_[frame + 1], end);
    if (first >= last)
      continue;
    auto part = Part{frame, region, strides, (first - region.firstComponent) * strides.componentStride};
    part.region.firstComponent = first - firstComponents_[frame];
    part.region.componentCount = last - first;
    parts.push_back(std::move(part));
  }
  return parts;
}

} // namespace zarnik
