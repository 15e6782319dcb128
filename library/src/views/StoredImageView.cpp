#include "views/StoredImageView.h"

#include "core/Guarded.h"
#include "views/ImageViewProperties.h"
#include "zarnik/core/Error.h"
#include "zarnik/metadata/MetadataNode.h"

#include <fmt/format.h>

namespace zarnik {

DataType requireNumeric(DataType dataType) {
  if (!dataType.isNumeric() || dataType.bitCount() == 0)
    throw InvalidArgument(fmt::format("samples of type {} are not numeric", dataType.toString()));
  return dataType;
}

StoredImageView::StoredImageView(VectorXu64 const & shape, DataType dataType,
                                 std::shared_ptr<ImageProperties const> const & properties,
                                 std::shared_ptr<MetadataNode const> const & metadata)
    : properties_(properties ? fittingProperties(properties, shape, dataType) : defaultProperties(shape, dataType)),
      metadata_(metadata ? metadata->clone() : nullptr) {}

StoredImageView::~StoredImageView() = default;

std::shared_ptr<ImageProperties const> StoredImageView::properties() const {
  std::lock_guard const lock(describing_);
  return properties_;
}

std::shared_ptr<MetadataNode const> StoredImageView::metadata() const {
  std::lock_guard const lock(describing_);
  return metadata_;
}

void StoredImageView::setProperties(std::shared_ptr<ImageProperties const> properties) {
  guarded([&] {
    if (!support(ImageCapability::WRITE))
      return ImageView::setProperties(std::move(properties));
    replaceProperties(changedProperties(properties, shape(), dataType()));
  });
}

void StoredImageView::setMetadata(std::shared_ptr<MetadataNode const> metadata) {
  guarded([&] {
    if (!support(ImageCapability::WRITE))
      return ImageView::setMetadata(std::move(metadata));
    std::shared_ptr<MetadataNode const> copy = metadata ? metadata->clone() : nullptr;
    std::lock_guard const lock(describing_);
    metadata_.swap(copy);
  });
}

std::shared_ptr<ImageProperties const> StoredImageView::propertiesFor(VectorXu64 const & shape,
                                                                      DataType dataType) const {
  auto current = properties();
  if (current->isCompatibleWith(shape, dataType))
    return current;
  auto changed = defaultProperties(shape, dataType);
  changed->setCalibration(current->calibration());
  return changed;
}

void StoredImageView::replaceProperties(std::shared_ptr<ImageProperties const> properties) noexcept {
  std::lock_guard const lock(describing_);
  properties_.swap(properties);
}

} // namespace zarnik
