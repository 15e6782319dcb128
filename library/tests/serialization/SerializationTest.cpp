#include "zarnik/serialization/Serialization.h"
#include "views/ForeignImage.h"
#include "views/Samples.h"
#include "zarnik/access/StreamAccess.h"
#include "zarnik/frames/DataFrameView.h"
#include "zarnik/frames/DataFrameViewFactory.h"
#include "zarnik/metadata/VariantDataValueFactory.h"
#include "zarnik/serialization/ImageWriter.h"
#include "zarnik/views/Writer.h"

#include <gmock/gmock.h>

namespace zarnik::test {
namespace {

/// Bytes that go in at one end and come out at the other, few at a time: no seek, no memory, short transfers.
class Pipe : public StreamAccess {
public:
  explicit Pipe(size_t atOnce, size_t room = SIZE_MAX) : atOnce_(atOnce), room_(room) {}
  StreamAccessCapabilitySet capabilities() const override { return StreamAccessCapability::READ_WRITE; }
  bool eof() const override { return position_ == bytes.size(); }
  bool fail() const override { return false; }
  std::string toString() const override { return "a pipe"; }
  uint8_t peek() override { return bytes.at(position_); }
  void flush() override {}
  size_t tell() override { return position_; }
  void seek(int64_t, SeekOrigin) override { throw NotImplemented("a pipe does not seek"); }
  size_t read(void * destination, size_t size) override {
    size = std::min({size, atOnce_, bytes.size() - position_});
    std::copy_n(bytes.data() + position_, size, static_cast<uint8_t *>(destination));
    position_ += size;
    return size;
  }
  size_t write(void const * source, size_t size) override {
    size = std::min({size, atOnce_, room_ - bytes.size()});
    auto const * const first = static_cast<uint8_t const *>(source);
    bytes.insert(bytes.end(), first, first + size);
    return size;
  }

  Bytes bytes;

private:
  size_t position_ = 0;
  size_t atOnce_;
  size_t room_;
};

/// Samples 0, 1, 2, ... that are not to be had in memory.
std::shared_ptr<ForeignImage> counting(VectorXu64 const & shape) {
  auto image = std::make_shared<ForeignImage>(shape, DataTypeId::UINT32, ImageCapability::READ);
  auto * const samples = static_cast<uint32_t *>(image->samples()->buffer());
  std::iota(samples, samples + elementCount(shape), 0U);
  return image;
}

TEST(Serialization, StreamsWithoutSeekAndWithShortTransfersCarryEverythingOfAnImage) {
  char16_t const * wide[] = {u"\u00e9", u""};
  char32_t const * wider[] = {U"\U0001F600"};
  auto const root = std::make_shared<MetadataNode>("", VariantDataValueFactory::create(wide, 2));
  root->addChild(std::make_shared<MetadataNode>("wider", VariantDataValueFactory::create(wider, 1)));
  auto const image = ImageViewFactory::allocate({5, 4, 3}, DataTypeId::VEC3_UINT16, nullptr, root);
  image->setSpatialUnit("\u00b5m");
  auto * const samples = static_cast<uint16_t *>(image->buffer());
  std::iota(samples, samples + image->bufferSize() / 2, uint16_t{7});

  auto const pipe = std::make_shared<Pipe>(7);
  Serialization::encodeVector3f({1, 2, 3}, pipe);
  Serialization::encodeImageView(image, pipe);
  Serialization::encodeMatrix4d(Matrix4d::uniform(5), pipe);
  EXPECT_EQ(Serialization::decodeVectorXf(pipe).toString(), VectorXf({1, 2, 3}).toString());
  auto const decoded = Serialization::decodeImageView(pipe);
  EXPECT_EQ(Serialization::decodeMatrix4d(pipe), Matrix4d::uniform(5));
  EXPECT_TRUE(pipe->eof());
  EXPECT_EQ(*decoded->properties(), *image->properties());
  EXPECT_EQ(decoded->metadata()->toString(), root->toString());
  EXPECT_EQ(valuesOf(*decoded), valuesOf(*image));
}

TEST(Serialization, ImagesThatAreNotInMemoryPassInBlocks) {
  for (auto const & shape : {VectorXu64{700'000, 3, 2}, VectorXu64{300, 1000, 5}, VectorXu64{4, 0, 2}}) {
    auto const image = counting(shape);
    auto const pipe = std::make_shared<Pipe>(SIZE_MAX);
    Serialization::encodeImageView(image, pipe);
    EXPECT_LE(image->largestRead * 4, 1 << 20);
    EXPECT_TRUE(valuesOf(*Serialization::decodeImageView(pipe)) == valuesOf(*image));
  }
}

TEST(ImageWriter, StoresBlockByBlockWhatTheEncoderStoresAtOnce) {
  auto const image = counting({300, 1000, 5});
  auto const whole = std::make_shared<Pipe>(SIZE_MAX), parts = std::make_shared<Pipe>(5000);
  Serialization::encodeImageView(image, whole);
  auto const writer = makeImageWriter(image, parts);
  writer->setProgress([](uint64_t written, uint64_t) { return written != 2; });
  writer->writeInit();
  EXPECT_THROW(writer->writeFinish(), Error);
  writer->writeData();
  EXPECT_LT(parts->bytes.size(), whole->bytes.size());
  writer->setProgress({});
  writer->writeData();
  writer->writeFinish();
  EXPECT_EQ(parts->bytes, whole->bytes);
}

TEST(ImageWriter, DoesNotGoOnAfterAFailure) {
  auto const image = ImageViewFactory::allocate({5000}, DataTypeId::DOUBLE);
  auto const full = makeImageWriter(image, std::make_shared<Pipe>(SIZE_MAX, 3000));
  EXPECT_THROW(full->writeAll(), Error);
  EXPECT_THAT([&] { full->writeData(); }, testing::ThrowsMessage<Error>(testing::HasSubstr("failed before")));
}

} // namespace
} // namespace zarnik::test
