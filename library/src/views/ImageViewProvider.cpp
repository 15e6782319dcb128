#include "zarnik/views/ImageViewProvider.h"

#include "core/Guarded.h"
#include "views/RestrictedImageView.h"
#include "zarnik/core/Error.h"

namespace zarnik {
namespace {

template <typename Restricted> std::shared_ptr<ImageView> restrictTo(std::shared_ptr<ImageView> image) {
  if (!image)
    throw InvalidArgument("the image to restrict cannot be null");
  // Once more would change nothing; nor would anything once both are taken away.
  auto const * const restricted = dynamic_cast<RestrictedImageView const *>(image.get());
  if (restricted != nullptr && (dynamic_cast<Restricted const *>(restricted) != nullptr ||
                                dynamic_cast<RestrictedImageView const *>(restricted->restricted().get()) != nullptr))
    return image;
  return guarded([&] { return std::make_shared<Restricted>(std::move(image)); });
}

} // namespace

bool ImageViewProvider::isImage(std::shared_ptr<View> view) { return toImage(std::move(view)) != nullptr; }

std::shared_ptr<ImageView> ImageViewProvider::toImage(std::shared_ptr<View> view) {
  return std::dynamic_pointer_cast<ImageView>(view);
}

std::shared_ptr<ImageView> ImageViewProvider::toReadOnly(std::shared_ptr<ImageView> image) {
  return restrictTo<ReadOnlyImageView>(std::move(image));
}

std::shared_ptr<ImageView> ImageViewProvider::toWriteOnly(std::shared_ptr<ImageView> image) {
  return restrictTo<WriteOnlyImageView>(std::move(image));
}

} // namespace zarnik
