#include "adapters/DescribedImageView.h"

#include "core/Guarded.h"
#include "views/ImageViewProperties.h"
#include "views/OriginByDeed.h"
#include "zarnik/core/Error.h"
#include "zarnik/metadata/ImageProperties.h"
#include "zarnik/metadata/MetadataNode.h"
#include "zarnik/views/ViewOriginExtension.h"

#include <utility>

namespace zarnik {

DescribedImageView::DescribedImageView(Description description)
    : properties_(std::move(description.properties)), metadata_(std::move(description.metadata)),
      origin_(originByDeed(std::move(description.deed), description.parents)) {}

DescribedImageView::~DescribedImageView() = default;

std::shared_ptr<Extension> DescribedImageView::extension(size_t id) const {
  return guarded(
      [&]() -> std::shared_ptr<Extension> { return id == ViewOriginExtension::EXTENSION_ID ? origin_ : nullptr; });
}

std::shared_ptr<ImageProperties const> DescribedImageView::properties() const {
  std::lock_guard const lock(describing_);
  return properties_;
}

std::shared_ptr<MetadataNode const> DescribedImageView::metadata() const {
  std::lock_guard const lock(describing_);
  return metadata_;
}

void DescribedImageView::setProperties(std::shared_ptr<ImageProperties const> properties) {
  guarded([&] {
    if (!support(ImageCapability::WRITE))
      return ImageView::setProperties(std::move(properties));
    std::shared_ptr<ImageProperties const> changed = changedProperties(properties, shape(), dataType());
    std::lock_guard const lock(describing_);
    properties_.swap(changed);
  });
}

void DescribedImageView::setMetadata(std::shared_ptr<MetadataNode const> metadata) {
  guarded([&] {
    if (!support(ImageCapability::WRITE))
      return ImageView::setMetadata(std::move(metadata));
    std::shared_ptr<MetadataNode const> changed = metadata ? metadata->clone() : nullptr;
    std::lock_guard const lock(describing_);
    metadata_.swap(changed);
  });
}

std::shared_ptr<ImageProperties const> validProperties(std::shared_ptr<ImageView> const & image) {
  if (!image)
    throw InvalidArgument("the image to adapt cannot be null");
  auto properties = toldProperties(*image);
  properties->requireSettableOn(image->shape(), image->dataType());
  return properties;
}

} // namespace zarnik
