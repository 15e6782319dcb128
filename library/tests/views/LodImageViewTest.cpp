// What is not seen through Python of images at several levels of detail.
#include "zarnik/views/LodImageView.h"
#include "access/TracingAccess.h"
#include "zarnik/views/ImageView.h"
#include "zarnik/views/ImageViewFactory.h"
#include "zarnik/views/LodImageViewFactory.h"

#include <gmock/gmock.h>

namespace zarnik::test {
namespace {

using testing::HasSubstr;
using testing::ThrowsMessage;

struct Levels : testing::Test {
  std::shared_ptr<TracingAccess> const access = std::make_shared<TracingAccess>(std::vector<uint8_t>(1000 * 1000, 10));
  std::shared_ptr<ImageView> const image = ImageViewFactory::fromRandomAccess(access, {1000, 1000}, DataTypeId::UINT8);
  std::shared_ptr<LodImageView> const lod = LodImageViewFactory::createLevels(image, LevelMethod::MEAN, 100);

  uint8_t at(int64_t level, VectorXu64 const & index) const {
    uint8_t value = 0;
    lod->resolution(level)->read(index, &value);
    return value;
  }
  size_t bytesRead() const { return TracingAccess::total(access->reads); }
};

TEST_F(Levels, AreComputedOnceWhenTheyAreRead) {
  access->bytes[0] = 30; // the mean of 30, 10, 10, 10 is 15
  EXPECT_EQ(lod->levelRange(), (Vector2i64{0, 4}));
  EXPECT_TRUE(access->reads.empty());
  EXPECT_EQ(at(1, {0, 0}), 15);
  auto const once = bytesRead();
  EXPECT_LT(once, 600'000u); // not all of it
  at(1, {1, 1});
  EXPECT_EQ(bytesRead(), once);
  access->failFrom = 0;
  EXPECT_THROW(at(1, {499, 499}), Error);
  access->failFrom = ~size_t{0};
  EXPECT_EQ(at(1, {499, 499}), 10);
}

TEST_F(Levels, AreComputedAsFarAsTheyAreMissing) {
  auto const stop = [](uint64_t done, uint64_t) { return done < 100'000; };
  EXPECT_THAT([&] { LodImageViewFactory::computeLevels(*lod, stop); }, ThrowsMessage<Error>(HasSubstr("cancelled")));
  auto const partly = bytesRead();
  LodImageViewFactory::computeLevels(*lod);
  auto const once = bytesRead();
  access->forget();
  LodImageViewFactory::computeLevels(*LodImageViewFactory::createLevels(image, LevelMethod::MEAN, 100));
  EXPECT_EQ(bytesRead(), once); // what was there has not been computed again
  EXPECT_LT(partly, once);
  access->failFrom = 0;
  EXPECT_EQ(at(4, {62, 62}), 10);
  EXPECT_NO_THROW(LodImageViewFactory::computeLevels(*LodImageViewFactory::createFromLevels({image})));
}

} // namespace
} // namespace zarnik::test
