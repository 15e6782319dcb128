#pragma once

#include "views/ForeignImage.h"
#include "views/Samples.h"
#include "zarnik/views/BorrowedMemoryView.h"
#include "zarnik/views/ImageViewProvider.h"

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace zarnik::test {

/// A source of an adapter, and its samples without going through a view.
struct Source {
  Image view;
  std::function<uint8_t *(VectorXu64 const & index)> element;
};

struct SourceKind {
  std::string name;
  ImageCapabilitySet capabilities;
  std::function<Source(VectorXu64 const & shape, DataType type)> make;
};

inline auto elementsOf(Image const & image) {
  return [image](VectorXu64 const & index) {
    auto const * const first = static_cast<uint8_t const *>(std::as_const(*image).buffer());
    return const_cast<uint8_t *>(first) + static_cast<int64_t>(image->indexer().byteOffset(index));
  };
}

/// Memory with gaps that runs backwards along every second dimension, the last one fastest.
inline Image borrowedImage(VectorXu64 const & shape, DataType type, BorrowedMemoryView::Protection protection) {
  auto const bytes = type.byteCount();
  VectorXu64 strides(shape.size());
  uint64_t stride = bytes, offset = 0;
  for (size_t axis = shape.size(); axis-- > 0;) {
    strides[axis] = axis % 2 ? stride : 0 - stride;
    offset += axis % 2 || shape[axis] == 0 ? 0 : (shape[axis] - 1) * stride;
    stride *= shape[axis] + 1;
  }
  auto const storage = std::make_shared<std::vector<uint8_t>>(stride + bytes, uint8_t{0xEE});
  BorrowedMemoryView::Memory memory{storage->data() + offset, Indexer(shape, type, strides), storage};
  memory.protection = protection;
  return std::make_shared<BorrowedMemoryView>(memory, nullptr, nullptr);
}

inline std::vector<SourceKind> sourceKinds() {
  using enum ImageCapability;
  using Protection = BorrowedMemoryView::Protection;
  auto const allocate = [](auto const & shape, DataType type) { return ImageViewFactory::allocate(shape, type); };
  auto const inMemory = [](auto make) {
    return [=](VectorXu64 const & shape, DataType type) {
      Image const image = make(shape, type);
      return Source{image, elementsOf(image)};
    };
  };
  auto const borrowed = [=](Protection protection) {
    return inMemory([=](auto const & shape, DataType type) { return borrowedImage(shape, type, protection); });
  };
  auto const readOnly = [=](VectorXu64 const & shape, DataType type) {
    auto const image = allocate(shape, type);
    return Source{ImageViewProvider::toReadOnly(image), elementsOf(image)};
  };
  auto const foreign = [](ImageCapabilitySet capabilities, uint64_t tileSize = 0) {
    return [=](VectorXu64 const & shape, DataType type) {
      auto const image = std::make_shared<ForeignImage>(shape, type, capabilities, tileSize);
      return Source{image, elementsOf(image->samples())};
    };
  };
  return {{"Memory", READ | WRITE | MEMORY_ACCESS, inMemory(allocate)},
          {"ReadOnly", READ, readOnly},
          {"Borrowed", READ | WRITE | MEMORY_ACCESS, borrowed(Protection::NONE)},
          {"BorrowedReadOnly", READ, borrowed(Protection::READ_ONLY)},
          {"Foreign", READ | WRITE, foreign(READ | WRITE)},
          {"ForeignReadOnly", READ, foreign(READ)},
          {"ForeignTiled", READ | WRITE, foreign(READ | WRITE, 3)}};
}

} // namespace zarnik::test
