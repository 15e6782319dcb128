#include "zarnik/views/LodImageView.h"

#include "core/Guarded.h"
#include "views/LevelList.h"
#include "zarnik/core/Error.h"
#include "zarnik/views/ImageView.h"
#include "zarnik/views/LodImageViewFactory.h"
#include "zarnik/views/LodImageViewProvider.h"
#include "zarnik/views/ViewOriginExtension.h"

#include <algorithm>
#include <fmt/format.h>

namespace zarnik {

LodImageView::~LodImageView() = default;

std::string LodImageView::toString() const {
  return guarded([&] {
    auto const range = levelRange();
    return fmt::format("LodImageView(levels {} to {}, level 0: {})", range[0], range[1], resolution(0)->toString());
  });
}

bool LodImageViewProvider::isLodImage(std::shared_ptr<View> view) { return toLodImage(std::move(view)) != nullptr; }

std::shared_ptr<LodImageView> LodImageViewProvider::toLodImage(std::shared_ptr<View> view) {
  return std::dynamic_pointer_cast<LodImageView>(view);
}

LevelList::LevelList(std::vector<std::shared_ptr<ImageView>> levels, int64_t finestLevel)
    : levels_(std::move(levels)), finestLevel_(finestLevel) {
  if (finestLevel > 0 || -static_cast<uint64_t>(finestLevel) >= levels_.size())
    throw InvalidArgument(fmt::format("level 0 is none of the {} levels from {}", levels_.size(), finestLevel));
  if (auto const missing = std::ranges::find(levels_, nullptr); missing != levels_.end())
    throw InvalidArgument(
        fmt::format("the image of level {} cannot be null", finestLevel + (missing - levels_.begin())));
  origin_ = ViewOriginExtension::derive("image at several levels of detail", {levels_.begin(), levels_.end()});
}

LevelList::~LevelList() = default;

std::shared_ptr<Extension> LevelList::extension(size_t id) const {
  return id == ViewOriginExtension::EXTENSION_ID ? origin_ : nullptr;
}

Vector2i64 LevelList::levelRange() const {
  return {finestLevel_, finestLevel_ + static_cast<int64_t>(levels_.size()) - 1};
}

std::shared_ptr<ImageView> LevelList::resolution(int64_t level) const {
  auto const range = levelRange();
  if (level < range[0] || level > range[1])
    throw InvalidArgument(fmt::format("level {} is not among the levels {} to {}", level, range[0], range[1]));
  return levels_[static_cast<size_t>(level - finestLevel_)];
}

std::shared_ptr<LodImageView> LodImageViewFactory::createFromLevels(std::vector<std::shared_ptr<ImageView>> levels,
                                                                    int64_t finestLevel) {
  return guarded(
      [&]() -> std::shared_ptr<LodImageView> { return std::make_shared<LevelList>(std::move(levels), finestLevel); });
}

} // namespace zarnik
