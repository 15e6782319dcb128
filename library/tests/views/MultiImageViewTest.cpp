#include "zarnik/views/MultiImageView.h"
#include "zarnik/core/Error.h"
#include "zarnik/metadata/MetadataNode.h"
#include "zarnik/views/ImageView.h"
#include "zarnik/views/ImageViewFactory.h"
#include "zarnik/views/LodImageView.h"
#include "zarnik/views/LodImageViewFactory.h"
#include "zarnik/views/LodImageViewProvider.h"
#include "zarnik/views/MultiImageViewFactory.h"
#include "zarnik/views/MultiImageViewProvider.h"
#include "zarnik/views/ViewOriginExtension.h"

#include <gmock/gmock.h>
#include <limits>

namespace zarnik::test {
namespace {

using testing::HasSubstr;
using testing::ThrowsMessage;

std::shared_ptr<ImageView> image(uint64_t width) { return ImageViewFactory::allocate({width, 2}, DataTypeId::UINT8); }

std::vector<uint64_t> widths(MultiImageView const & set) {
  std::vector<uint64_t> widths;
  for (size_t index = 0; index < set.frameCount(); ++index)
    widths.push_back(set.frame(index)->shape()[0]);
  return widths;
}

TEST(MultiImage, KeepsItsFramesInOrder) {
  auto const set = MultiImageViewFactory::create();
  EXPECT_EQ(set->frameCount(), 0u);
  EXPECT_TRUE(set->support(MultiImageCapability::READ_WRITE));
  auto const uid = set->viewOrigin()->uid();
  for (uint64_t width = 1; width <= 4; ++width)
    set->addFrame(image(width));
  set->setFrame(1, image(20));
  set->removeFrame(2);
  EXPECT_EQ(widths(*set), (std::vector<uint64_t>{1, 20, 4}));
  EXPECT_THAT(set->toString(), HasSubstr("3 frames"));
  EXPECT_EQ(set->viewOrigin()->uid(), uid);
  EXPECT_EQ(set->viewOrigin()->parentCount(), 3u);
  EXPECT_EQ(set->viewOrigin()->parent(2)->uid(), set->frame(2)->viewOrigin()->uid());

  EXPECT_THAT([&] { set->setFrame(3, image(1)); }, ThrowsMessage<InvalidArgument>(HasSubstr("frame index 3")));
  EXPECT_THROW(set->frame(3), Error);
  EXPECT_THROW(set->removeFrame(~size_t{0}), Error);
  EXPECT_THROW(set->addFrame(nullptr), InvalidArgument);
  EXPECT_THROW(set->setFrame(0, nullptr), InvalidArgument);
  EXPECT_EQ(widths(*set), (std::vector<uint64_t>{1, 20, 4}));

  auto const metadata = std::make_shared<MetadataNode>("series", nullptr);
  set->setMetadata(metadata);
  metadata->addChild(std::make_shared<MetadataNode>("late", nullptr));
  EXPECT_EQ(set->metadata()->childCount(), 0u);
  set->setMetadata(nullptr);
  EXPECT_EQ(set->metadata(), nullptr);

  std::vector const images{image(5), image(6)};
  EXPECT_EQ(widths(*MultiImageViewFactory::createFromList(images.data(), 2)), (std::vector<uint64_t>{5, 6}));
  std::vector<std::shared_ptr<ImageView>> const holes{image(5), nullptr};
  EXPECT_THROW(MultiImageViewFactory::createFromList(holes.data(), 2), InvalidArgument);
}

TEST(LodImage, HasTheLevelsOfItsList) {
  auto const lod = LodImageViewFactory::createFromLevels({image(8), image(4), image(2)}, -1);
  EXPECT_EQ(lod->levelRange(), (Vector2i64{-1, 1}));
  EXPECT_EQ(lod->resolution(-1)->shape()[0], 8u);
  EXPECT_EQ(lod->resolution(1)->shape()[0], 2u);
  for (auto const level : {int64_t{-2}, int64_t{2}, std::numeric_limits<int64_t>::min()})
    EXPECT_THROW(lod->resolution(level), Error);
  EXPECT_THAT(lod->toString(), HasSubstr("(4, 2)"));
  EXPECT_THROW(LodImageViewFactory::createFromLevels({}), InvalidArgument);
  EXPECT_THROW(LodImageViewFactory::createFromLevels({image(1)}, -1), InvalidArgument);
  EXPECT_THROW(LodImageViewFactory::createFromLevels({image(1)}, 1), InvalidArgument);
  EXPECT_THROW(LodImageViewFactory::createFromLevels({image(1)}, std::numeric_limits<int64_t>::min()), InvalidArgument);
  EXPECT_THROW(LodImageViewFactory::createFromLevels({nullptr}), InvalidArgument);
}

TEST(Providers, TellViewsApart) {
  auto const single = image(1);
  auto const set = MultiImageViewFactory::create();
  auto const lod = LodImageViewFactory::createFromLevels({single});
  EXPECT_EQ(MultiImageViewProvider::toMultiImage(set), set);
  EXPECT_EQ(LodImageViewProvider::toLodImage(lod), lod);
  for (std::shared_ptr<View> const & view :
       {std::shared_ptr<View>(single), std::shared_ptr<View>(lod), std::shared_ptr<View>()})
    EXPECT_FALSE(MultiImageViewProvider::isMultiImage(view));
  for (std::shared_ptr<View> const & view :
       {std::shared_ptr<View>(single), std::shared_ptr<View>(set), std::shared_ptr<View>()})
    EXPECT_FALSE(LodImageViewProvider::isLodImage(view));
}

} // namespace
} // namespace zarnik::test
