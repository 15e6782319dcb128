#include "zarnik/views/MultiImageView.h"
#include "views/TracingAccess.h"
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

TEST(MultiImage, SplitsAnImageIntoFramesThatWriteIt) {
  auto const volume = ImageViewFactory::allocate({4, 1, 3}, DataTypeId::UINT8);
  auto const slices = MultiImageViewFactory::unstack(volume, ImageDimension::SLICE);
  EXPECT_EQ(slices->frameCount(), 3u);
  EXPECT_EQ(slices->frame(0)->shape(), (VectorXu64{4, 1})); // the other flat dimension stays
  uint8_t const value = 7;
  slices->frame(2)->write({3, 0}, &value);
  EXPECT_EQ(static_cast<uint8_t const *>(volume->buffer())[11], 7);
  EXPECT_THROW(slices->addFrame(volume), NotImplemented);
  EXPECT_THROW(slices->frame(3), Error);
  EXPECT_THROW(MultiImageViewFactory::unstack(volume, ImageDimension::CHANNEL), Error);
  EXPECT_THROW(MultiImageViewFactory::unstack(volume, 3), InvalidArgument);
  EXPECT_THROW(MultiImageViewFactory::unstack(nullptr, 0), InvalidArgument);
  EXPECT_THROW(MultiImageViewFactory::unstack(ImageViewFactory::allocate({4}, DataTypeId::UINT8), 0), InvalidArgument);
}

TEST(LodImage, ComputesALevelOnceWhenItIsRead) {
  auto const access = std::make_shared<TracingAccess>(std::vector<uint8_t>(1000 * 1000, 10));
  access->bytes[0] = 30; // the mean of 30, 10, 10, 10 is 15
  auto const image = ImageViewFactory::fromRandomAccess(access, {1000, 1000}, DataTypeId::UINT8);
  auto const lod = LodImageViewFactory::createLevels(image, LevelMethod::MEAN, 100);
  EXPECT_EQ(lod->levelRange(), (Vector2i64{0, 4}));
  EXPECT_TRUE(access->reads.empty());
  uint8_t value = 0;
  lod->resolution(1)->read({0, 0}, &value);
  EXPECT_EQ(value, 15);
  auto const once = TracingAccess::total(access->reads);
  EXPECT_LT(once, 600'000u); // not all of it
  lod->resolution(1)->read({1, 1}, &value);
  EXPECT_EQ(TracingAccess::total(access->reads), once);
  access->failFrom = 0;
  EXPECT_THROW(lod->resolution(1)->read({499, 499}, &value), Error);
  access->failFrom = ~size_t{0};
  lod->resolution(1)->read({499, 499}, &value);
  EXPECT_EQ(value, 10);
}

TEST(LodImage, ComputesTheRestOfItsLevels) {
  auto const access = std::make_shared<TracingAccess>(std::vector<uint8_t>(1000 * 1000, 10));
  auto const image = ImageViewFactory::fromRandomAccess(access, {1000, 1000}, DataTypeId::UINT8);
  auto const lod = LodImageViewFactory::createLevels(image, LevelMethod::MEAN, 100);
  auto const stop = [](uint64_t done, uint64_t) { return done < 100'000; };
  EXPECT_THAT([&] { LodImageViewFactory::computeLevels(*lod, stop); }, ThrowsMessage<Error>(HasSubstr("cancelled")));
  auto const partly = TracingAccess::total(access->reads);
  std::vector<std::pair<uint64_t, uint64_t>> told;
  LodImageViewFactory::computeLevels(*lod, [&](uint64_t done, uint64_t total) {
    told.emplace_back(done, total);
    return true;
  });
  uint64_t const total = 500 * 500 + 250 * 250 + 125 * 125 + 63 * 63;
  EXPECT_EQ(told.back(), std::pair(total, total));
  auto const once = TracingAccess::total(access->reads);
  access->reads.clear();
  LodImageViewFactory::computeLevels(*LodImageViewFactory::createLevels(image, LevelMethod::MEAN, 100));
  EXPECT_EQ(TracingAccess::total(access->reads), once); // what was there has not been computed again
  EXPECT_LT(partly, once);
  access->failFrom = 0;
  std::vector<uint8_t> coarsest(63 * 63);
  lod->resolution(4)->readRegion({{0, 0}, {63, 63}}, coarsest.data());
  EXPECT_EQ(coarsest, std::vector<uint8_t>(63 * 63, 10));
  EXPECT_NO_THROW(LodImageViewFactory::computeLevels(*LodImageViewFactory::createFromLevels({image})));
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
