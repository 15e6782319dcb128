#include "adapters/Draft.h"
#include "core/Guarded.h"
#include "views/RegionTransfer.h"
#include "zarnik/core/Error.h"
#include "zarnik/views/ImageViewFactory.h"

#include <fmt/format.h>
#include <span>
#include <utility>

namespace zarnik {
namespace {

Draft cropped(std::shared_ptr<ImageView> image, RegionXu64 const & region) {
  Draft draft(std::move(image));
  requireInside(region, draft.shape());
  for (size_t axis = 0; axis < draft.rank(); ++axis)
    draft.crop(axis, region.origin()[axis], region.size()[axis]);
  return draft;
}

std::string describe(char const * what, RegionXu64 const & region) {
  return fmt::format("{} {} from {}", what, region.size().toString(), region.origin().toString());
}

std::shared_ptr<ImageView> flipAxis(Draft draft, size_t axis) {
  draft.flip(axis);
  return draft.finish(fmt::format("flipped along {}", draft.nameOf(axis)));
}

std::shared_ptr<ImageView> renameAxes(Draft draft, std::vector<SpatialFrame::Meaning> const & meanings,
                                      std::string names) {
  if (!meanings.empty() && meanings.size() != draft.rank())
    throw InvalidArgument(
        fmt::format("axes {} are {} dimensions, the image has {}", names, meanings.size(), draft.rank()));
  draft.rename(meanings);
  return draft.finish(fmt::format("axes taken as {}", names));
}

} // namespace

std::shared_ptr<ImageView> ImageViewFactory::extractRegion(std::shared_ptr<ImageView> image,
                                                           RegionXu64 const & region) {
  return guarded([&]() -> std::shared_ptr<ImageView> {
    return cropped(std::move(image), region).finish(describe("cropped to", region));
  });
}

std::shared_ptr<ImageView> ImageViewFactory::extractAdjustedRegion(std::shared_ptr<ImageView> image,
                                                                   RegionXu64 const & region) {
  return guarded([&]() -> std::shared_ptr<ImageView> {
    auto draft = cropped(std::move(image), region);
    for (size_t axis = draft.rank(); axis-- > 0;)
      if (draft.shape()[axis] == 1 && draft.rank() > 1)
        draft.drop(axis);
    return draft.finish(describe("cropped and packed to", region));
  });
}

std::shared_ptr<ImageView> ImageViewFactory::flip(std::shared_ptr<ImageView> image, ImageDimension dimension) {
  return guarded([&]() -> std::shared_ptr<ImageView> {
    Draft draft(std::move(image));
    auto const axis = draft.axisOf(dimension);
    return flipAxis(std::move(draft), axis);
  });
}

std::shared_ptr<ImageView> ImageViewFactory::flip(std::shared_ptr<ImageView> image, size_t dimensionIndex) {
  return guarded([&]() -> std::shared_ptr<ImageView> {
    Draft draft(std::move(image));
    if (dimensionIndex >= draft.rank())
      throw InvalidArgument(
          fmt::format("dimension index {} is not below the dimension count {}", dimensionIndex, draft.rank()));
    return flipAxis(std::move(draft), dimensionIndex);
  });
}

std::shared_ptr<ImageView> ImageViewFactory::subSample(std::shared_ptr<ImageView> image, size_t step) {
  return guarded([&]() -> std::shared_ptr<ImageView> {
    Draft draft(std::move(image));
    if (step == 0)
      throw InvalidArgument("step 0 keeps no elements, it is to be at least 1");
    for (size_t axis = 0; axis < draft.rank(); ++axis)
      if (draft.meaning(axis) && *draft.meaning(axis) <= ImageDimension::SLICE)
        draft.keepEvery(axis, step);
    draft.restrictTo(ImageCapability::READ);
    return draft.finish(fmt::format("sub-sampled by {}", step));
  });
}

std::shared_ptr<ImageView> ImageViewFactory::everyNth(std::shared_ptr<ImageView> image, VectorXu64 const & steps) {
  return guarded([&]() -> std::shared_ptr<ImageView> {
    Draft draft(std::move(image));
    if (steps.size() != draft.rank())
      throw InvalidArgument(
          fmt::format("{} steps do not fit the {} dimensions of the image", steps.size(), draft.rank()));
    for (size_t axis = 0; axis < draft.rank(); ++axis) {
      if (steps[axis] == 0)
        throw InvalidArgument(
            fmt::format("step 0 along {} keeps no elements, it is to be at least 1", draft.nameOf(axis)));
      draft.keepEvery(axis, steps[axis]);
    }
    return draft.finish(fmt::format("stepped by {}", steps.toString()));
  });
}

std::shared_ptr<ImageView> ImageViewFactory::reinterpret(std::shared_ptr<ImageView> image, ImageType axes) {
  return guarded([&]() -> std::shared_ptr<ImageView> {
    std::vector<SpatialFrame::Meaning> meanings(axes.dimensionCount());
    for (size_t axis = 0; axis < meanings.size(); ++axis)
      meanings[axis] = axes.dimension(axis);
    return renameAxes(Draft(std::move(image)), meanings, axes.toString());
  });
}

std::shared_ptr<ImageView> ImageViewFactory::reinterpretAxes(std::shared_ptr<ImageView> image,
                                                             ImageDimension const * dimensions, size_t count) {
  return guarded([&]() -> std::shared_ptr<ImageView> {
    Draft draft(std::move(image));
    std::vector<SpatialFrame::Meaning> meanings;
    std::string names;
    ImageType before;
    if (dimensions != nullptr) {
      for (auto const dimension : std::span(dimensions, count)) {
        auto const name = nameOf(dimension); // refuses what is no dimension
        if (before.has(dimension))
          throw InvalidArgument(fmt::format("dimension {} is given twice", name));
        before.add(dimension);
        meanings.emplace_back(dimension);
        names += (names.empty() ? "(" : ", ") + name;
      }
    }
    return renameAxes(std::move(draft), meanings, names.empty() ? "()" : names + ")");
  });
}

} // namespace zarnik
