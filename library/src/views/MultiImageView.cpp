#include "zarnik/views/MultiImageView.h"

#include "views/FlagNames.h"
#include "zarnik/core/Error.h"
#include "zarnik/views/MultiImageViewProvider.h"

#include <fmt/format.h>

namespace zarnik {
namespace {

[[noreturn]] void throwMissing(MultiImageView const & set, MultiImageCapability capability) {
  throw NotImplemented(fmt::format("the multi-image does not support {} (its capabilities: {})", flagNames(capability),
                                   flagNames(set.capabilities())));
}

} // namespace

MultiImageView::~MultiImageView() = default;

bool MultiImageView::support(MultiImageCapabilitySet capabilities) const {
  return this->capabilities().has(capabilities);
}

std::string MultiImageView::toString() const {
  auto const count = frameCount();
  return fmt::format("MultiImageView({} {}, {})", count, count == 1 ? "frame" : "frames", flagNames(capabilities()));
}

void MultiImageView::addFrame(std::shared_ptr<ImageView>) { throwMissing(*this, MultiImageCapability::WRITE); }
void MultiImageView::setFrame(size_t, std::shared_ptr<ImageView>) { throwMissing(*this, MultiImageCapability::WRITE); }
void MultiImageView::removeFrame(size_t) { throwMissing(*this, MultiImageCapability::WRITE); }

void MultiImageView::setMetadata(std::shared_ptr<MetadataNode const>) {
  throwMissing(*this, MultiImageCapability::WRITE);
}

bool MultiImageViewProvider::isMultiImage(std::shared_ptr<View> view) {
  return toMultiImage(std::move(view)) != nullptr;
}

std::shared_ptr<MultiImageView> MultiImageViewProvider::toMultiImage(std::shared_ptr<View> view) {
  return std::dynamic_pointer_cast<MultiImageView>(view);
}

} // namespace zarnik
