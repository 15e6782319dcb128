#include "views/SplitMultiImageView.h"

#include "core/Guarded.h"
#include "views/ListMultiImageView.h"
#include "zarnik/metadata/MetadataNode.h"
#include "zarnik/views/ImageView.h"
#include "zarnik/views/ParallelAccessExtension.h"
#include "zarnik/views/ViewOriginExtension.h"

namespace zarnik {

SplitMultiImageView::SplitMultiImageView(std::shared_ptr<ImageView> image, size_t frameCount, MakeFrame makeFrame,
                                         std::string name)
    : image_(std::move(image)), frameCount_(frameCount), makeFrame_(std::move(makeFrame)),
      origin_(ViewOriginExtension::derive(std::move(name), {image_})) {}

SplitMultiImageView::~SplitMultiImageView() = default;

std::shared_ptr<Extension> SplitMultiImageView::extension(size_t id) const {
  return guarded([&]() -> std::shared_ptr<Extension> {
    switch (id) {
    case ViewOriginExtension::EXTENSION_ID:
      return origin_;
    case ParallelAccessExtension::EXTENSION_ID:
      return ParallelAccessExtension::create(ParallelAccessCapability::PARALLEL_READ);
    default:
      return nullptr;
    }
  });
}

MultiImageCapabilitySet SplitMultiImageView::capabilities() const { return MultiImageCapability::READ; }
size_t SplitMultiImageView::frameCount() const { return frameCount_; }

std::shared_ptr<ImageView> SplitMultiImageView::frame(size_t index) const {
  return guarded([&]() -> std::shared_ptr<ImageView> {
    requireFrame(index, frameCount_);
    return makeFrame_(index);
  });
}

std::shared_ptr<MetadataNode const> SplitMultiImageView::metadata() const { return image_->metadata(); }

} // namespace zarnik
