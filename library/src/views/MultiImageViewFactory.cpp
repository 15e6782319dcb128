#include "zarnik/views/MultiImageViewFactory.h"

#include "adapters/Draft.h"
#include "core/Guarded.h"
#include "views/ListMultiImageView.h"
#include "views/SplitMultiImageView.h"
#include "zarnik/core/Error.h"
#include "zarnik/metadata/ImageProperties.h"
#include "zarnik/views/ImageViewFactory.h"

#include <fmt/format.h>
#include <utility>

namespace zarnik {
namespace {

/// \throws Error if the properties of an image do not fit it
void requireValid(ImageView const & image) {
  toldProperties(image)->requireCompatibleWith(image.shape(), image.dataType());
}

std::shared_ptr<MultiImageView> unstackAxis(std::shared_ptr<ImageView> image, Draft const & draft, size_t axis) {
  if (draft.rank() < 2)
    throw InvalidArgument("an image of one dimension cannot be split: its frames would have none");
  auto const name = draft.nameOf(axis);
  auto const count = draft.shape()[axis];
  auto makeFrame = [image, axis, name](size_t index) {
    Draft frame(image);
    frame.crop(axis, index, 1);
    frame.drop(axis);
    return frame.finish(fmt::format("frame {} along {}", index, name));
  };
  return std::make_shared<SplitMultiImageView>(std::move(image), count, std::move(makeFrame),
                                               fmt::format("split along {}", name));
}

} // namespace

std::shared_ptr<MultiImageView> MultiImageViewFactory::create() {
  return guarded([&]() -> std::shared_ptr<MultiImageView> { return createFromList(nullptr, 0); });
}

std::shared_ptr<MultiImageView> MultiImageViewFactory::createFromList(std::shared_ptr<ImageView> const * images,
                                                                      size_t count) {
  return guarded([&]() -> std::shared_ptr<MultiImageView> {
    return std::make_shared<ListMultiImageView>(std::vector<std::shared_ptr<ImageView>>(images, images + count));
  });
}

std::shared_ptr<MultiImageView> MultiImageViewFactory::unstack(std::shared_ptr<ImageView> image,
                                                               size_t dimensionIndex) {
  return guarded([&]() -> std::shared_ptr<MultiImageView> {
    Draft const draft(image);
    requireValid(*image);
    if (dimensionIndex >= draft.rank())
      throw InvalidArgument(
          fmt::format("dimension index {} is not below the dimension count {}", dimensionIndex, draft.rank()));
    return unstackAxis(std::move(image), draft, dimensionIndex);
  });
}

std::shared_ptr<MultiImageView> MultiImageViewFactory::unstack(std::shared_ptr<ImageView> image,
                                                               ImageDimension dimension) {
  return guarded([&]() -> std::shared_ptr<MultiImageView> {
    Draft const draft(image);
    requireValid(*image);
    auto const axis = draft.axisOf(dimension);
    return unstackAxis(std::move(image), draft, axis);
  });
}

std::shared_ptr<MultiImageView> MultiImageViewFactory::deinterlace(std::shared_ptr<ImageView> image) {
  return guarded([&]() -> std::shared_ptr<MultiImageView> {
    Draft const draft(image);
    requireValid(*image);
    size_t count = 1;
    bool const hasDimension = draft.has(ImageDimension::CHANNEL);
    if (draft.type().isVector() || (draft.type().elementCount() > 1 && !hasDimension))
      count = draft.type().elementCount();
    else if (hasDimension)
      count = draft.shape()[draft.axisOf(ImageDimension::CHANNEL)];
    auto makeFrame = [image](size_t index) { return ImageViewFactory::extractChannel(image, index); };
    return std::make_shared<SplitMultiImageView>(std::move(image), count, std::move(makeFrame), "split into channels");
  });
}

} // namespace zarnik
