// What goes wrong with files: each fault ends in an Error that names the file, or in a short transfer.
#include "access/AccessSupport.h"
#include "access/FaultyTransfers.h"
#include "zarnik/access/FolderStorage.h"
#include "zarnik/access/RandomAccessFactory.h"
#include "zarnik/access/StreamAccessFactory.h"
#include "zarnik/views/ImageView.h"
#include "zarnik/views/ImageViewFactory.h"

#include <fcntl.h>
#include <fstream>
#include <gmock/gmock.h>
#include <unistd.h>

namespace zarnik::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;

TEST(FileFaults, FilesMayBeForbidden) {
  if (::geteuid() == 0)
    GTEST_SKIP() << "nothing is forbidden to root";
  auto const path = scratchFile(ramp(3));
  std::filesystem::permissions(path, std::filesystem::perms::none);
  EXPECT_THAT(messageOf([&] { StreamAccessFactory::openFileRead(path); }), HasSubstr("Permission denied"));
}

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

TEST(FileFaults, AFileThatIsCutReadsShort) {
  auto const path = scratchFile(ramp(20000));
  auto const file = RandomAccessFactory::openFileRead(path);
  auto const mapping = RandomAccessFactory::mapFile(path);
  std::filesystem::resize_file(path, 100);
  for (auto const & access : {file, mapping}) {
    Bytes out(20000);
    EXPECT_EQ(access->read(0, out.data(), out.size()), 100u);
    EXPECT_EQ(access->read(19000, out.data(), 10), 0u);
    RandomAccess::ReadRequest const request[] = {{50, out.data(), 100}};
    EXPECT_THROW(access->readMany(request), Error);
  }
  EXPECT_EQ(mapping->write(90, ramp(20).data(), 20), 10u);
  EXPECT_EQ(mapping->write(19000, ramp(20).data(), 20), 0u);
  EXPECT_EQ(file->size(), 100u);
}

TEST(FileFaults, SparseFilesBeyondFourGigabytes) {
  auto const path = scratchFile({});
  auto const file = RandomAccessFactory::openFile(path);
  constexpr size_t far = (size_t{5} << 30) + 7;
  file->resize(far);
  EXPECT_EQ(file->write(far, "abc", 3), 3u);
  auto const mapping = RandomAccessFactory::mapFile(path);
  auto const stream = StreamAccessFactory::openFileRead(path);
  stream->seek(-4, SeekOrigin::END);
  for (auto const & access : {file, mapping, RandomAccessFactory::extractRegion(file, 1)}) {
    char out[4] = {1, 1, 1, 1};
    EXPECT_EQ(access->read(access->size() - 4, out, 4), 4u);
    EXPECT_EQ(std::string(out, 4), std::string("\0abc", 4));
  }
  EXPECT_EQ(stream->tell(), far - 1);
  EXPECT_EQ(stream->peek(), 0);
}

TEST(FileFaults, DescriptorsAreNotInheritedAndAllClosed) {
  auto const path = scratchFile(ramp(3));
  auto const descriptors = [&] {
    std::vector<int> found;
    for (auto const & entry : std::filesystem::directory_iterator("/proc/self/fd")) {
      std::error_code ignored;
      if (std::filesystem::read_symlink(entry.path(), ignored) == path)
        found.push_back(std::stoi(entry.path().filename().string()));
    }
    return found;
  };
  {
    auto const stream = StreamAccessFactory::openFile(path);
    auto const mapping = RandomAccessFactory::mapFile(path);
    auto const stored = stream->storage()->openRandomAccess(stream->resourceId(), AccessCapabilities::READ_ONLY);
    auto const open = descriptors();
    EXPECT_EQ(open.size(), 3u);
    for (auto const descriptor : open)
      EXPECT_TRUE(::fcntl(descriptor, F_GETFD) & FD_CLOEXEC);
  }
  EXPECT_TRUE(descriptors().empty());
}

TEST(FolderStorage, KeepsToItsFolder) {
  auto const folder = scratchFolder();
  std::filesystem::create_directories(folder / "in" / "sub");
  for (auto const & file : {folder / "secret", folder / "in" / "a", folder / "in" / "sub" / "b"})
    std::ofstream(file) << file.filename().string();
  std::filesystem::create_symlink("../secret", folder / "in" / "out");
  std::filesystem::create_symlink(folder / "secret", folder / "in" / "absolute");
  std::filesystem::create_directory_symlink("..", folder / "in" / "up");
  std::filesystem::create_symlink("sub/b", folder / "in" / "inner");
  std::filesystem::create_symlink("../new", folder / "in" / "dangling");

  auto const storage = FolderStorage::open((folder / "in").string() + "/");
  for (auto const * id : {"a", "sub/b", "./a", "sub//b", "inner"})
    EXPECT_EQ(storage->openStreamAccess(id, AccessCapabilities::READ_ONLY)->storage(), storage) << id;
  auto const absolute = (folder / "in" / "a").string();
  for (auto const & id : {std::string("../secret"), std::string("sub/../a"), std::string(".."), std::string("out"),
                          std::string("absolute"), std::string("up/secret"), std::string(), absolute,
                          std::string("a\0b", 3), std::string("dangling")})
    for (auto const mode :
         {AccessCapabilities::READ_ONLY, AccessCapabilities::WRITE_ONLY, AccessCapabilities::READ_WRITE})
      EXPECT_THROW(storage->openRandomAccess(id, mode), InvalidArgument) << id;
  EXPECT_FALSE(std::filesystem::exists(folder / "new"));
  EXPECT_EQ(std::filesystem::file_size(folder / "secret"), 6u);
  EXPECT_THROW(storage->openRandomAccess("a", static_cast<AccessCapabilities>(0)), InvalidArgument);
  EXPECT_THAT(messageOf([&] { storage->openRandomAccess("c", AccessCapabilities::READ_WRITE); }),
              HasSubstr("No such file"));
  EXPECT_EQ(storage->openRandomAccess("c", AccessCapabilities::WRITE_ONLY)->size(), 0u);
}

TEST(FolderStorage, IsKnownToAFilesAccessors) {
  auto const path = std::filesystem::path(scratchFile(ramp(10)));
  std::shared_ptr<DataAccess> const accessors[] = {
      StreamAccessFactory::openFileRead(path), StreamAccessFactory::openFile(path), RandomAccessFactory::mapFile(path),
      RandomAccessFactory::openURIRead("file:" + path.string())};
  for (auto const & access : accessors) {
    EXPECT_EQ(access->resourceId(), "some file");
    ASSERT_NE(access->storage(), nullptr);
    EXPECT_EQ(access->storage()->source(), path.parent_path());
    EXPECT_EQ(access->storage()->openRandomAccess(access->resourceId(), AccessCapabilities::READ_ONLY)->size(), 10u);
  }
  EXPECT_EQ(RandomAccessFactory::allocate(1)->storage(), nullptr);
}

} // namespace
} // namespace zarnik::test
