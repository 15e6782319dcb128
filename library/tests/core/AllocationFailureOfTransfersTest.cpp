// What is left when memory runs out while bytes, samples and tables are opened, adapted, moved and stored.
#include "core/FailingAllocations.h"
#include "zarnik/access/RandomAccess.h"
#include "zarnik/access/RandomAccessFactory.h"
#include "zarnik/access/StreamAccess.h"
#include "zarnik/access/StreamAccessFactory.h"
#include "zarnik/frames/DataFrameView.h"
#include "zarnik/frames/DataFrameViewFactory.h"
#include "zarnik/metadata/ImageProperties.h"
#include "zarnik/serialization/Serialization.h"
#include "zarnik/values/Indexer.h"
#include "zarnik/views/ImageView.h"
#include "zarnik/views/ImageViewFactory.h"
#include "zarnik/views/MultiImageView.h"
#include "zarnik/views/MultiImageViewFactory.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <vector>

namespace zarnik::test {

namespace {

using Factory = ImageViewFactory;
using Image = std::shared_ptr<ImageView>;

Image ramp() {
  auto image = Factory::allocate({6, 5, 4}, DataTypeId::UINT8);
  auto * const samples = static_cast<uint8_t *>(image->buffer());
  for (size_t n = 0; n < image->bufferSize(); ++n)
    samples[n] = static_cast<uint8_t>(n);
  return image;
}

std::vector<uint8_t> bytesOf(Image const & image) {
  std::vector<uint8_t> bytes(Indexer(image->shape(), image->dataType()).byteCount());
  image->readRegion(RegionXu64::createFullRegion(image->shape()), bytes.data());
  return bytes;
}

TEST(AllocationFailure, OfAdapters) {
  using enum ImageDimension;
  auto const make = [](char const * name, auto adapt) {
    withEachAllocationFailing(
        name, ramp, [&](Image & image) { adapt(image); }, bytesOf);
  };
  make("flip", [](Image const & image) { Factory::flip(image, ROW); });
  make("crop", [](Image const & image) { Factory::extractRegion(image, {{1, 1, 1}, {2, 2, 2}}); });
  make("steps", [](Image const & image) { Factory::everyNth(image, {2, 1, 2}); });
  make("type", [](Image const & image) { Factory::adaptDataType(image, DataTypeId::FLOAT); });
  make("range", [](Image const & image) { Factory::adaptDynamicRange(image, DataTypeId::INT16, {0, 255}, {-1, 1}); });
  make("described", [](Image const & image) { Factory::fromImageView(image, image->properties(), nullptr); });
  make("thread safe", [](Image const & image) { Factory::makeThreadSafe(image); });
  make("stack",
       [](Image const & image) { Factory::stack(MultiImageViewFactory::createFromList(&image, 1), SEQUENCE); });
  make("unstack", [](Image const & image) { MultiImageViewFactory::unstack(image, SLICE)->frame(1); });
}

TEST(AllocationFailure, OfTransfersThroughAdapters) {
  RegionXu64 const region({1, 1, 1}, {3, 2, 2});
  std::vector<uint8_t> samples(3 * 2 * 2 * 4, 9);
  auto const transfer = [&](char const * name, auto adapt) {
    withEachAllocationFailing(
        name, [&] { return Image(adapt(ramp())); },
        [&](Image & view) {
          view->readRegion(region, samples.data());
          view->writeRegion(region, samples.data());
          view->read({1, 1, 1}, samples.data());
          view->extension(0);
        },
        [](Image const & view) { return view->shape().toString(); });
  };
  transfer("flip", [](Image const & image) { return Factory::flip(image, ImageDimension::ROW); });
  transfer("convert twice", [](Image const & image) {
    return Factory::adaptDynamicRange(Factory::adaptDynamicRange(image, DataTypeId::INT16, {0, 255}, {0, 99}),
                                      DataTypeId::UINT8, {0, 99}, {200, 0});
  });
  transfer("disk", [](Image const & image) { return Factory::copyOnDisk(image); });
  transfer("stack", [](Image const & image) {
    return Factory::stack(MultiImageViewFactory::unstack(image, ImageDimension::SLICE), ImageDimension::SLICE, 2);
  });
}

TEST(AllocationFailure, OfAccess) {
  withEachAllocationFailing("memory", [] {
    auto const access = RandomAccessFactory::allocate(100);
    RandomAccessFactory::extractRegion(access, 10, 20);
    StreamAccessFactory::fromRandomAccess(access);
    RandomAccessFactory::copyInMemory(access);
  });
  auto const path = (std::filesystem::temp_directory_path() / "zarnik-allocation-failure").string();
  withEachAllocationFailing("file", [&] {
    StreamAccessFactory::openFileWrite(path)->write("a few bytes", 11);
    RandomAccessFactory::openFileRead(path);
    RandomAccessFactory::mapFile(path);
  });
  std::filesystem::remove(path);
}

TEST(AllocationFailure, OfTables) {
  std::string const names[] = {"a column with a long name", "another column with a long name"};
  DataType const types[] = {DataTypeId::DOUBLE, DataTypeId::UTF8_STRING};
  auto const change = [&](char const * name, auto act) {
    withEachAllocationFailing(
        name,
        [&] {
          return DataFrameViewFactory::allocate({2, 3}, names, types);
        },
        act,
        [](auto const & frame) {
          auto text = frame->shape().toString();
          for (size_t column = 0; column < frame->shape()[0]; ++column)
            text += " " + frame->columnName(column) + " " + frame->unit(column);
          return text;
        });
  };
  std::string const third = "a third column with a long name", unit = "a unit of many letters";
  change("addColumn", [&](auto & frame) { frame->addColumn(third, DataTypeId::UTF8_STRING); });
  change("addRows", [](auto & frame) { frame->addRows(1, 100); });
  change("removeRows", [](auto & frame) { frame->removeRows(1, 1); });
  change("removeColumn", [](auto & frame) { frame->removeColumn(0); });
  change("reshape", [&](auto & frame) { frame->reshape({2, 50}, names, types); });
  change("setUnit", [&](auto & frame) { frame->setUnit(0, unit); });
}

TEST(AllocationFailure, OfStoring) {
  auto const image = ramp();
  withEachAllocationFailing("image", [&] {
    auto const stream = StreamAccessFactory::allocate();
    Serialization::encodeImageView(image, stream);
    stream->seek(0, SeekOrigin::BEGIN);
    Serialization::decodeImageView(stream);
  });
}

} // namespace

} // namespace zarnik::test
