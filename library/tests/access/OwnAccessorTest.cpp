// An accessor as a user of the library writes one. The guide shows it; a test of the package compares them.
#include "access/AccessSupport.h"
#include "zarnik/access/RandomAccessFactory.h"
#include "zarnik/access/StreamAccessFactory.h"

#include <algorithm>
#include <gmock/gmock.h>

namespace zarnik::test {
namespace {

// clang-format off
// Reads as if each byte were the low byte of its offset.
class Ramp : public zarnik::RandomAccess {
public:
  explicit Ramp(size_t size) : size_(size) {}

  zarnik::RandomAccessCapabilitySet capabilities() const override { return zarnik::RandomAccessCapability::READ; }
  size_t size() const override { return size_; }
  std::string toString() const override { return "ramp of " + std::to_string(size_) + " bytes"; }

  size_t read(size_t offset, void * destination, size_t size) override {
    auto const count = offset >= size_ ? 0 : std::min(size, size_ - offset);
    for (size_t i = 0; i < count; ++i)
      static_cast<uint8_t *>(destination)[i] = static_cast<uint8_t>(offset + i);
    return count;
  }
  size_t write(size_t, void const *, size_t) override { throw zarnik::NotImplemented("a ramp cannot be written"); }
  void resize(size_t) override { throw zarnik::NotImplemented("a ramp cannot be resized"); }

private:
  size_t size_;
};
// clang-format on

TEST(OwnAccessor, WorksWithRegionsAndStreams) {
  auto const ramp = std::make_shared<Ramp>(1000);
  auto const region = RandomAccessFactory::extractRegion(ramp, 300, 4);
  auto const stream = StreamAccessFactory::fromRandomAccess(region);
  uint8_t out[6] = {};
  EXPECT_EQ(stream->read(out, 6), 4u);
  EXPECT_THAT(out, testing::ElementsAre(44, 45, 46, 47, 0, 0));
  EXPECT_THROW(stream->write(out, 1), NotImplemented);
  EXPECT_EQ(RandomAccessFactory::copyInMemory(ramp)->size(), 1000u);
}

} // namespace
} // namespace zarnik::test
