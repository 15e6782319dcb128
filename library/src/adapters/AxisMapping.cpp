#include "adapters/AxisMapping.h"

#include <algorithm>
#include <utility>

namespace zarnik {
namespace {

// Indices stay within the source, so what wraps on the way comes back.
uint64_t times(uint64_t index, int64_t step) { return index * static_cast<uint64_t>(step); }

} // namespace

AxisMapping::AxisMapping(size_t rank) : axes_(rank + 1), fixed_(rank + 1) {
  for (size_t axis = 0; axis < axes_.size(); ++axis)
    axes_[axis].source = axis;
}

void AxisMapping::crop(size_t axis, uint64_t origin) { axes_[axis].origin += times(origin, axes_[axis].step); }

void AxisMapping::flip(size_t axis, uint64_t extent) {
  if (extent > 0)
    crop(axis, extent - 1);
  axes_[axis].step = -axes_[axis].step;
}

void AxisMapping::keepEvery(size_t axis, uint64_t step, uint64_t extent) {
  // A step beyond the end keeps the first element, as one to the end does.
  auto const within = std::min(step, std::max<uint64_t>(extent, 1));
  axes_[axis].step *= static_cast<int64_t>(within);
}

void AxisMapping::fix(MappedAxis const & axis) {
  if (axis.source != MappedAxis::NONE)
    fixed_[axis.source] = axis.origin;
}

void AxisMapping::drop(size_t axis) {
  fix(axes_[axis]);
  axes_.erase(axes_.begin() + static_cast<std::ptrdiff_t>(axis));
}

void AxisMapping::dropComponents() {
  fix(axes_.back());
  axes_.back() = MappedAxis();
}

void AxisMapping::dimensionToComponents(size_t axis) {
  fix(axes_.back());
  axes_.back() = axes_[axis];
  axes_.erase(axes_.begin() + static_cast<std::ptrdiff_t>(axis));
}

void AxisMapping::componentsToDimension(size_t axis) {
  axes_.insert(axes_.begin() + static_cast<std::ptrdiff_t>(axis), std::exchange(axes_.back(), MappedAxis()));
}

void AxisMapping::permute(VectorXu64 const & order) {
  auto permuted = axes_;
  for (size_t axis = 0; axis < order.size(); ++axis)
    permuted[axis] = axes_[order[axis]];
  axes_ = std::move(permuted);
}

SourceTransfer AxisMapping::translate(SampleRegion const & region, SampleStrides const & strides, DataType type,
                                      VectorXu64 const & shape) const {
  auto const components = sourceComponents();
  SourceTransfer result{{VectorXu64(components), VectorXu64::createUniform(components, 1),
                         VectorXu64::createUniform(components, 1), fixed_[components], 1, type, &shape},
                        {VectorXu64(components), strides.componentStride}};
  std::copy_n(fixed_.begin(), components, result.region.origin.begin());

  auto const place = [&](MappedAxis const & axis, uint64_t first, uint64_t count, uint64_t step, uint64_t stride) {
    if (axis.source == MappedAxis::NONE)
      return;
    auto origin = axis.origin + times(first, axis.step);
    auto sourceStep = count == 1 ? int64_t{1} : axis.step * static_cast<int64_t>(step);
    if (sourceStep < 0) {
      origin += times(count - 1, sourceStep);
      result.offset += (count - 1) * stride;
      stride = 0 - stride;
      sourceStep = -sourceStep;
    }
    if (axis.source == components) {
      result.region.firstComponent = origin;
      result.region.componentCount = count;
      result.componentStep = static_cast<uint64_t>(sourceStep);
      result.strides.componentStride = stride;
    } else {
      result.region.origin[axis.source] = origin;
      result.region.size[axis.source] = count;
      result.region.step[axis.source] = static_cast<uint64_t>(sourceStep);
      result.strides.byteStrides[axis.source] = stride;
    }
  };
  for (size_t axis = 0; axis < rank(); ++axis)
    place(axes_[axis], region.origin[axis], region.size[axis], region.step[axis], strides.byteStrides[axis]);
  place(axes_.back(), region.firstComponent, region.componentCount, 1, strides.componentStride);
  return result;
}

bool AxisMapping::isIdentity() const {
  if (axes_.size() != fixed_.size())
    return false;
  for (size_t axis = 0; axis < axes_.size(); ++axis)
    if (axes_[axis].source != axis || axes_[axis].origin != 0 || axes_[axis].step != 1)
      return false;
  return true;
}

bool AxisMapping::separatesComponents(DataType source, DataType view) const {
  auto const count = ComponentFormat(source).count;
  return count != 1 && (axes_.back().source != sourceComponents() || ComponentFormat(view).count != count);
}

bool AxisMapping::keepsSamples(DataType source, DataType view) const {
  auto const & components = axes_.back();
  if (ComponentFormat(source).count != ComponentFormat(view).count)
    return false;
  return ComponentFormat(source).count == 1 ||
         (components.source == sourceComponents() && components.origin == 0 && components.step == 1);
}

VectorXu64 AxisMapping::sourceIndex(VectorXu64 const & index) const {
  VectorXu64 result(fixed_.data(), fixed_.data() + sourceComponents());
  for (size_t axis = 0; axis < rank(); ++axis)
    if (axes_[axis].source < sourceComponents())
      result[axes_[axis].source] = axes_[axis].origin + times(index[axis], axes_[axis].step);
  if (axes_.back().source < sourceComponents())
    result[axes_.back().source] = axes_.back().origin;
  return result;
}

uint64_t AxisMapping::strideInMemory(MappedAxis const & axis, Indexer const & source, uint64_t unmapped) const {
  if (axis.source == MappedAxis::NONE)
    return unmapped;
  auto const stride =
      axis.source == sourceComponents() ? ComponentFormat(source.dtype()).bytes : source.byteStride()[axis.source];
  return times(stride, axis.step);
}

bool AxisMapping::fitsMemory(Indexer const & source, DataType type) const {
  ComponentFormat const format(type);
  return format.count == 1 || strideInMemory(axes_.back(), source, format.bytes) == format.bytes;
}

Indexer AxisMapping::overMemory(Indexer const & source, VectorXu64 const & shape, DataType type) const {
  VectorXu64 strides(rank());
  for (size_t axis = 0; axis < rank(); ++axis)
    strides[axis] = strideInMemory(axes_[axis], source, type.byteCount());
  return Indexer(shape, type, strides);
}

uint64_t AxisMapping::offsetInMemory(Indexer const & source) const {
  auto const strideOf = [&](size_t axis) {
    return axis == sourceComponents() ? ComponentFormat(source.dtype()).bytes : source.byteStride()[axis];
  };
  uint64_t offset = 0;
  for (size_t axis = 0; axis < fixed_.size(); ++axis)
    offset += fixed_[axis] * strideOf(axis);
  for (auto const & axis : axes_)
    if (axis.source != MappedAxis::NONE)
      offset += axis.origin * strideOf(axis.source);
  return offset;
}

} // namespace zarnik
