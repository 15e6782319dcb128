#include "adapters/Draft.h"
#include "core/Guarded.h"
#include "zarnik/core/Error.h"
#include "zarnik/views/ImageViewFactory.h"

#include <fmt/format.h>
#include <utility>

namespace zarnik {
namespace {

void requireChannel(size_t channel, uint64_t count) {
  if (channel >= count)
    throw InvalidArgument(fmt::format("channel {} is not below the number of channels {}", channel, count));
}

void requireWholeBytes(DataType type) {
  if (type.bitDepth() % 8 != 0)
    throw InvalidArgument(fmt::format("the components of type {} are no whole bytes", type.toString()));
}

} // namespace

std::shared_ptr<ImageView> ImageViewFactory::extractChannel(std::shared_ptr<ImageView> image, size_t channel) {
  return guarded([&]() -> std::shared_ptr<ImageView> {
    Draft draft(std::move(image));
    bool const hasDimension = draft.has(ImageDimension::CHANNEL);
    if (draft.type().isVector() || (draft.type().elementCount() > 1 && !hasDimension)) {
      requireChannel(channel, draft.type().elementCount());
      requireWholeBytes(draft.type());
      draft.extractComponent(channel);
    } else if (hasDimension) {
      auto const axis = draft.axisOf(ImageDimension::CHANNEL);
      requireChannel(channel, draft.shape()[axis]);
      draft.crop(axis, channel, 1);
      if (draft.rank() > 1)
        draft.drop(axis);
    } else {
      requireChannel(channel, 1);
    }
    return draft.finish(fmt::format("channel {}", channel));
  });
}

std::shared_ptr<ImageView> ImageViewFactory::assembleChannels(std::shared_ptr<ImageView> image) {
  return guarded([&]() -> std::shared_ptr<ImageView> {
    Draft draft(std::move(image));
    if (!draft.type().isScalar())
      throw InvalidArgument(fmt::format("samples of type {} are not scalar", draft.type().toString()));
    requireWholeBytes(draft.type());
    auto const axis = draft.axisOf(ImageDimension::CHANNEL);
    if (draft.rank() == 1)
      throw InvalidArgument("the image has no dimension beside CHANNEL");
    draft.assemble(axis);
    return draft.finish("channels assembled");
  });
}

std::shared_ptr<ImageView> ImageViewFactory::disassembleChannels(std::shared_ptr<ImageView> image) {
  return guarded([&]() -> std::shared_ptr<ImageView> {
    Draft draft(std::move(image));
    if (!draft.type().isNumeric() || draft.type().elementCount() < 2)
      throw InvalidArgument(fmt::format("samples of type {} are no vectors", draft.type().toString()));
    requireWholeBytes(draft.type());
    if (draft.has(ImageDimension::CHANNEL))
      throw InvalidArgument("the image has the dimension CHANNEL already");
    draft.disassemble();
    return draft.finish("channels disassembled");
  });
}

} // namespace zarnik
