// What goes wrong with files: each fault ends in an Error that names the file, or in a short transfer.
#include "access/AccessSupport.h"
#include "access/FaultyTransfers.h"
#include "zarnik/access/RandomAccessFactory.h"
#include "zarnik/access/StreamAccessFactory.h"
#include "zarnik/views/ImageView.h"
#include "zarnik/views/ImageViewFactory.h"

#include <gmock/gmock.h>
#include <unistd.h>

namespace zarnik::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;

TEST(FileFaults, InterruptedAndShortTransfersGoOn) {
  auto const content = ramp(100'000);
  auto const path = scratchFile({});
  auto const image = ImageViewFactory::createOnDisk({100, 1000}, DataTypeId::UINT8);
  auto const everything = RegionXu64::createFullRegion(image->shape());
  Bytes out(content.size()), parts(content.size()), samples(content.size());
  FaultyTransfers const faults;
  EXPECT_EQ(StreamAccessFactory::openFileWrite(path)->write(content.data(), content.size()), content.size());
  auto const file = RandomAccessFactory::openFileRead(path);
  EXPECT_EQ(file->read(0, out.data(), out.size()), out.size());
  RandomAccess::ReadRequest const requests[] = {{0, parts.data(), 60'000}, {60'000, &parts[60'000], 40'000}};
  file->readMany(requests);
  image->writeRegion(everything, content.data());
  image->readRegion(everything, samples.data());
  for (auto const & read : {out, parts, samples})
    EXPECT_TRUE(read == content);
  EXPECT_GT(faults.interrupted(), 20u);
  EXPECT_GT(faults.shortened(), 20u);
}

TEST(FileFaults, TransfersThatFailOnTheWayTellWhere) {
  auto const path = scratchFile(ramp(900));
  auto const file = RandomAccessFactory::openFile(path);
  Bytes bytes(900);
  FaultyTransfers const faults(1); // two thirds are transferred before
  auto const where = [&](char const * what) {
    return AllOf(HasSubstr(what + (" \"" + path) + "\" at offset 600: "), HasSubstr("Input/output error"));
  };
  EXPECT_THAT(messageOf([&] { file->read(0, bytes.data(), bytes.size()); }), where("cannot read"));
  FaultyTransfers const again(1);
  EXPECT_THAT(messageOf([&] { file->write(0, bytes.data(), bytes.size()); }), where("cannot write"));
}

} // namespace
} // namespace zarnik::test
