#include "adapters/DescribedImageView.h"

#include "core/Guarded.h"
#include "views/ImageViewProperties.h"
#include "zarnik/core/Error.h"
#include "zarnik/metadata/ImageProperties.h"
#include "zarnik/metadata/MetadataNode.h"
#include "zarnik/views/ViewOriginExtension.h"

#include <fmt/format.h>
#include <utility>

namespace zarnik {
namespace {

/// Tells the chain that led to a view: what its source was, and what was done to it since. Of a long one, the begin.
std::string nameOf(std::vector<std::shared_ptr<View>> const & parents, std::string const & deed) {
  constexpr size_t longest = 300;
  auto const origin = parents.size() == 1 ? parents.front()->viewOrigin() : nullptr;
  if (!origin)
    return parents.size() == 1 ? fmt::format("image, {}", deed) : deed;
  auto name = origin->displayName();
  if (name.size() + deed.size() > longest)
    name = name.substr(0, longest / 2) + " ...";
  return fmt::format("{}, {}", name, deed);
}

} // namespace

DescribedImageView::DescribedImageView(Description description)
    : properties_(std::move(description.properties)), metadata_(std::move(description.metadata)),
      origin_(ViewOriginExtension::derive(nameOf(description.parents, description.deed), description.parents)) {}

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
