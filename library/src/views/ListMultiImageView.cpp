#include "views/ListMultiImageView.h"

#include "core/Guarded.h"
#include "zarnik/core/Error.h"
#include "zarnik/core/UidGenerator.h"
#include "zarnik/metadata/MetadataNode.h"
#include "zarnik/views/ImageView.h"
#include "zarnik/views/ParallelAccessExtension.h"
#include "zarnik/views/ViewOriginExtension.h"

#include <fmt/format.h>

namespace zarnik {
namespace {

/// The origin of a set whose frames change: its identifier stays.
class ListOrigin : public ViewOriginExtension {
public:
  ListOrigin(uint64_t uid, std::shared_ptr<ViewOriginExtension> current) : uid_(uid), current_(std::move(current)) {}

  uint64_t uid() const override { return uid_; }
  size_t parentCount() const override { return current_->parentCount(); }
  std::shared_ptr<ViewOriginExtension> parent(size_t index) const override { return current_->parent(index); }
  ViewDataOrigin dataOrigin() const override { return current_->dataOrigin(); }
  std::string displayName() const override { return current_->displayName(); }

private:
  uint64_t uid_;
  std::shared_ptr<ViewOriginExtension> current_;
};

void requireImage(std::shared_ptr<ImageView> const & image, size_t index) {
  if (!image)
    throw InvalidArgument(fmt::format("frame {} of a multi-image cannot be null", index));
}

} // namespace

void requireFrame(size_t index, size_t count) {
  if (index >= count)
    throw InvalidArgument(fmt::format("frame index {} is not below the frame count {}", index, count));
}

ListMultiImageView::ListMultiImageView(std::vector<std::shared_ptr<ImageView>> frames)
    : frames_(std::move(frames)), uid_(UidGenerator::generate()) {
  for (size_t index = 0; index < frames_.size(); ++index)
    requireImage(frames_[index], index);
}

ListMultiImageView::~ListMultiImageView() = default;

std::shared_ptr<Extension> ListMultiImageView::extension(size_t id) const {
  return guarded([&]() -> std::shared_ptr<Extension> {
    using enum ParallelAccessCapability;
    switch (id) {
    case ViewOriginExtension::EXTENSION_ID:
      return std::make_shared<ListOrigin>(
          uid_, ViewOriginExtension::derive("multi-image",
                                            std::vector<std::shared_ptr<View>>(frames_.begin(), frames_.end())));
    case ParallelAccessExtension::EXTENSION_ID:
      return ParallelAccessExtension::create(PARALLEL_READ);
    default:
      return nullptr;
    }
  });
}

MultiImageCapabilitySet ListMultiImageView::capabilities() const {
  return MultiImageCapability::READ | MultiImageCapability::WRITE;
}

size_t ListMultiImageView::frameCount() const { return frames_.size(); }

std::shared_ptr<ImageView> ListMultiImageView::frame(size_t index) const {
  requireFrame(index, frames_.size());
  return frames_[index];
}

std::shared_ptr<MetadataNode const> ListMultiImageView::metadata() const { return metadata_; }

void ListMultiImageView::addFrame(std::shared_ptr<ImageView> image) {
  guarded([&] {
    requireImage(image, frames_.size());
    frames_.push_back(std::move(image));
  });
}

void ListMultiImageView::setFrame(size_t index, std::shared_ptr<ImageView> image) {
  guarded([&] {
    requireFrame(index, frames_.size());
    requireImage(image, index);
    frames_[index] = std::move(image);
  });
}

void ListMultiImageView::removeFrame(size_t index) {
  requireFrame(index, frames_.size());
  frames_.erase(frames_.begin() + static_cast<ptrdiff_t>(index));
}

void ListMultiImageView::setMetadata(std::shared_ptr<MetadataNode const> metadata) {
  metadata_ = metadata ? metadata->clone() : nullptr;
}

} // namespace zarnik
