#include "adapters/CombinedImageView.h"
#include "adapters/Draft.h"
#include "core/Guarded.h"
#include "metadata/ImageInterpretationTable.h"
#include "zarnik/core/Error.h"
#include "zarnik/metadata/ImageProperties.h"
#include "zarnik/views/ImageViewFactory.h"
#include "zarnik/views/MultiImageView.h"
#include "zarnik/views/ViewOriginExtension.h"

#include <algorithm>
#include <fmt/format.h>
#include <utility>

namespace zarnik {
namespace {

using Frames = std::vector<std::shared_ptr<ImageView>>;

[[noreturn]] void throwMisfit(size_t frame, char const * what, std::string const & found, std::string const & wanted) {
  throw InvalidArgument(fmt::format("frame {} has {} {}, frame 0 has {}", frame, what, found, wanted));
}

/// The frames of a set, which fit each other but for the number of their components.
Frames framesOf(std::shared_ptr<MultiImageView> const & images) {
  if (!images)
    throw InvalidArgument("the set of images cannot be null");
  Frames frames(images->frameCount());
  if (frames.empty())
    throw InvalidArgument("the set of images has no frames");
  for (size_t n = 0; n < frames.size(); ++n) {
    frames[n] = images->frame(n);
    if (!frames[n])
      throw InvalidArgument(fmt::format("frame {} is null", n));
    validProperties(frames[n]);
    auto const & first = *frames.front();
    auto const & frame = *frames[n];
    if (frame.shape() != first.shape())
      throwMisfit(n, "shape", frame.shape().toString(), first.shape().toString());
    auto const component = DataType::extractScalarType(frame.dataType());
    if (component != DataType::extractScalarType(first.dataType()))
      throwMisfit(n, "type", frame.dataType().toString(), first.dataType().toString());
    if (frame.axesInterpretation() != first.axesInterpretation())
      throwMisfit(n, "axes", frame.axesInterpretation().toString(), first.axesInterpretation().toString());
  }
  return frames;
}

/// What holds for the values of all frames.
ImageInfoProperty commonInfo(Frames const & frames) {
  auto info = toldProperties(*frames.front())->imageInfo();
  for (auto const & frame : frames) {
    auto const properties = toldProperties(*frame);
    auto const & other = properties->imageInfo();
    info.setBitDepth(std::max(info.bitDepth(), other.bitDepth()));
    info.setValueRange(
        {std::min(info.valueRange()[0], other.valueRange()[0]), std::max(info.valueRange()[1], other.valueRange()[1])});
    if (other.interpretation() != info.interpretation())
      info.setInterpretation(ImageInterpretation::UNKNOWN);
    info.setAlpha(info.alpha() && other.alpha() && other.interpretation() == info.interpretation());
  }
  return info;
}

std::shared_ptr<MetadataNode const> metadataOf(std::shared_ptr<MultiImageView> const & images, Frames const & frames) {
  auto metadata = images->metadata();
  return metadata ? metadata : frames.front()->metadata();
}

/// The colour model of the channels of a stack, given that of one frame.
void stackChannels(ImageInfoProperty & info, size_t channels) {
  auto const * const model = findImageInterpretation(info.interpretation());
  if (model == nullptr || !model->isColour)
    return;
  // Planes of a colour image, and a last one for alpha.
  info.setAlpha(channels == model->channelCount + 1);
  if (channels != 1 && channels != model->channelCount && !info.alpha())
    info.setInterpretation(ImageInterpretation::MULTISPECTRAL);
}

std::string deedOf(char const * what, Frames const & frames) {
  auto const origin = frames.front()->viewOrigin();
  return fmt::format("{} {} frames, the first: {}", what, frames.size(), origin ? origin->displayName() : "an image");
}

} // namespace

std::shared_ptr<ImageView> ImageViewFactory::stack(std::shared_ptr<MultiImageView> images, ImageDimension dimension) {
  return guarded([&]() -> std::shared_ptr<ImageView> { return stack(std::move(images), dimension, 1); });
}

std::shared_ptr<ImageView> ImageViewFactory::stack(std::shared_ptr<MultiImageView> images) {
  return guarded([&]() -> std::shared_ptr<ImageView> {
    auto const frames = framesOf(images);
    auto const axes = frames.front()->axesInterpretation();
    for (auto const dimension : {ImageDimension::SLICE, ImageDimension::CHANNEL, ImageDimension::SEQUENCE})
      if (!axes.has(dimension))
        return stack(std::move(images), dimension, 1);
    throw InvalidArgument(fmt::format("the frames have all of SLICE, CHANNEL and SEQUENCE: {}", axes.toString()));
  });
}

std::shared_ptr<ImageView> ImageViewFactory::stack(std::shared_ptr<MultiImageView> images, ImageDimension dimension,
                                                   size_t threadCount) {
  return guarded([&]() -> std::shared_ptr<ImageView> {
    auto const name = nameOf(dimension); // refuses what is no dimension
    if (threadCount == 0)
      throw InvalidArgument("thread count 0 is not at least 1");
    auto frames = framesOf(images);
    auto const & first = *frames.front();
    for (size_t n = 1; n < frames.size(); ++n)
      if (frames[n]->dataType() != first.dataType())
        throwMisfit(n, "type", frames[n]->dataType().toString(), first.dataType().toString());
    auto const axes = first.axesInterpretation();
    if (axes.has(dimension))
      throw InvalidArgument(fmt::format("the frames have the dimension {} already: {}", name, axes.toString()));

    // Frames whose axes have no meaning are stacked behind the last one.
    auto const rank = first.dimensionCount();
    bool const knowsAxes = axes != ImageType() || rank == 0;
    auto const stacked = knowsAxes ? axes | dimension : ImageType();
    auto const axis = knowsAxes ? stacked.indexDimension(dimension) : rank;
    SpatialFrame space(toldProperties(first)->calibration(), meaningsOf(axes, rank));
    auto const next = frames.size() > 1 ? std::optional(frames[1]->spatialOrigin()) : std::nullopt;
    space.insert(knowsAxes ? SpatialFrame::Meaning(dimension) : std::nullopt, next);
    auto info = commonInfo(frames);
    info.setAxesInterpretation(stacked);
    if (dimension == ImageDimension::CHANNEL)
      stackChannels(info, frames.size() * (first.dataType().isVector() ? first.dataType().elementCount() : 1));
    auto properties = ImageProperties::fromProperties(space.calibration(), info);
    CombinedImageView::Description description{std::move(properties),
                                               metadataOf(images, frames),
                                               deedOf(fmt::format("stack along {} of", name).c_str(), frames),
                                               {frames.begin(), frames.end()}};
    return std::make_shared<StackedImageView>(std::move(frames), axis, threadCount, std::move(description));
  });
}

std::shared_ptr<ImageView> ImageViewFactory::interlace(std::shared_ptr<MultiImageView> images,
                                                       ImageInterpretation interpretation, bool alpha) {
  return guarded([&]() -> std::shared_ptr<ImageView> {
    auto const frames = framesOf(images);
    auto const & first = *frames.front();
    uint64_t components = 0;
    for (size_t n = 0; n < frames.size(); ++n) {
      auto const type = frames[n]->dataType();
      if (!type.isNumeric() || type.bitDepth() % 8 != 0)
        throw InvalidArgument(
            fmt::format("the components of frame {} of type {} are no whole bytes", n, type.toString()));
      components += type.elementCount();
    }
    auto const type = typeOfComponents(DataType::extractScalarType(first.dataType()), components);
    auto info = commonInfo(frames);
    info.setInterpretation(interpretation);
    info.setAlpha(alpha);
    auto properties = ImageProperties::fromProperties(toldProperties(first)->calibration(), info);
    properties->requireCompatibleWith(first.shape(), type);
    CombinedImageView::Description description{std::move(properties),
                                               metadataOf(images, frames),
                                               deedOf("interlacing of", frames),
                                               {frames.begin(), frames.end()}};
    return std::make_shared<InterlacedImageView>(frames, type, std::move(description));
  });
}

std::shared_ptr<ImageView> ImageViewFactory::interlace(std::shared_ptr<MultiImageView> images) {
  return guarded([&]() -> std::shared_ptr<ImageView> {
    auto const frames = framesOf(images);
    auto info = commonInfo(frames);
    size_t components = 0;
    for (auto const & frame : frames)
      components += frame->dataType().elementCount();
    auto const * const model = findImageInterpretation(info.interpretation());
    if (model != nullptr && model->isColour)
      stackChannels(info, components);
    else if (components != 1 && info.interpretation() != ImageInterpretation::UNKNOWN)
      info.setInterpretation(ImageInterpretation::MULTISPECTRAL);
    return interlace(std::move(images), info.interpretation(), info.alpha());
  });
}

} // namespace zarnik
