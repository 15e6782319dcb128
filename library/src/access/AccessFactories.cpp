#include "access/CursorStream.h"
#include "access/FileAccess.h"
#include "access/MemoryAccess.h"
#include "access/RegionAccess.h"
#include "access/StreamedAccess.h"
#include "core/Guarded.h"
#include "zarnik/access/RandomAccessFactory.h"
#include "zarnik/access/StreamAccessFactory.h"
#include "zarnik/core/Error.h"
#include "zarnik/http/HttpAccess.h"

#include <algorithm>
#include <fmt/format.h>
#include <vector>

namespace zarnik {

namespace {

using platform::File;

std::shared_ptr<RandomAccess> openFileAccess(std::string const & path, File::Mode mode) {
  auto file = File::open(path, mode);
  return std::make_shared<FileAccess>(std::move(file), mode, placeOf(path));
}

std::shared_ptr<StreamAccess> streamOver(std::shared_ptr<RandomAccess> bytes) {
  return std::make_shared<CursorStream>(std::move(bytes));
}

template <typename T> void requireAccess(std::shared_ptr<T> const & access, char const * what) {
  if (access == nullptr)
    throw InvalidArgument(fmt::format("the {} must not be null", what));
}

// The path of a `file` URI.
std::string localPath(Uri const & uri) {
  if (auto const host = uri.host(); !host.empty() && host != "localhost")
    throw InvalidArgument(fmt::format("the host of a file must be empty or localhost, not {}", host));
  return uri.path();
}

bool isHttp(std::string const & scheme) { return scheme == "http" || scheme == "https"; }

[[noreturn]] void throwUnknownScheme(Uri const & uri) {
  throw InvalidArgument(fmt::format("the scheme of an URI must be file, http or https, not \"{}\"", uri.scheme()));
}

} // namespace

std::shared_ptr<StreamAccess> StreamAccessFactory::allocate(size_t size) {
  return guarded([&]() -> std::shared_ptr<StreamAccess> {
    return streamOver(std::make_shared<OwnedMemory>(size, OwnedMemory::Growth::NONE));
  });
}

std::shared_ptr<StreamAccess> StreamAccessFactory::allocate() {
  return guarded([&]() -> std::shared_ptr<StreamAccess> {
    return streamOver(std::make_shared<OwnedMemory>(0, OwnedMemory::Growth::ANY));
  });
}

std::shared_ptr<StreamAccess> StreamAccessFactory::copyInMemory(std::shared_ptr<StreamAccess> stream) {
  return guarded([&]() -> std::shared_ptr<StreamAccess> {
    requireAccess(stream, "stream");
    if (!stream->support(StreamAccessCapability::READ_SEEK))
      throw Error(fmt::format("{} cannot be copied: it must be able to read and to seek", stream->toString()));
    auto copy = std::make_shared<OwnedMemory>(0, OwnedMemory::Growth::ANY);
    auto const position = static_cast<int64_t>(stream->tell());
    stream->seek(0, SeekOrigin::END);
    copy->resize(stream->tell());
    stream->seek(0, SeekOrigin::BEGIN);
    auto const count = stream->read(copy->buffer(), copy->size());
    stream->seek(position, SeekOrigin::BEGIN);
    if (count != copy->size())
      throw Error(fmt::format("{} ended after {} of {} bytes", stream->toString(), count, copy->size()));
    return streamOver(std::move(copy));
  });
}

std::shared_ptr<StreamAccess> StreamAccessFactory::openFileRead(std::string const & path) {
  return guarded([&]() -> std::shared_ptr<StreamAccess> { return streamOver(openFileAccess(path, File::Mode::READ)); });
}

std::shared_ptr<StreamAccess> StreamAccessFactory::openFileWrite(std::string const & path) {
  return guarded(
      [&]() -> std::shared_ptr<StreamAccess> { return streamOver(openFileAccess(path, File::Mode::WRITE)); });
}

std::shared_ptr<StreamAccess> StreamAccessFactory::openFile(std::string const & path) {
  return guarded(
      [&]() -> std::shared_ptr<StreamAccess> { return streamOver(openFileAccess(path, File::Mode::READ_WRITE)); });
}

std::shared_ptr<StreamAccess> StreamAccessFactory::openURIWrite(Uri const & uri) {
  return guarded([&]() -> std::shared_ptr<StreamAccess> {
    if (uri.scheme() == "file")
      return openFileWrite(localPath(uri));
    if (isHttp(uri.scheme()))
      return openHTTPWrite(uri, "POST", {});
    throwUnknownScheme(uri);
  });
}

std::shared_ptr<StreamAccess> StreamAccessFactory::openHTTPWrite(Uri const & uri, std::string const & method,
                                                                 HTTPHeaders const & headers) {
  return guarded([&]() -> std::shared_ptr<StreamAccess> { return openHttpWrite(uri, method, headers); });
}

std::shared_ptr<StreamAccess> StreamAccessFactory::fromRandomAccess(std::shared_ptr<RandomAccess> random) {
  return guarded([&]() -> std::shared_ptr<StreamAccess> {
    requireAccess(random, "random accessor");
    return streamOver(std::move(random));
  });
}

std::shared_ptr<RandomAccess> RandomAccessFactory::allocate(size_t size) {
  return guarded(
      [&]() -> std::shared_ptr<RandomAccess> { return std::make_shared<OwnedMemory>(size, OwnedMemory::Growth::ANY); });
}

std::shared_ptr<RandomAccess> RandomAccessFactory::copyInMemory(std::shared_ptr<RandomAccess> random) {
  return guarded([&]() -> std::shared_ptr<RandomAccess> {
    requireAccess(random, "random accessor");
    if (random->support(RandomAccessCapability::MEMORY_ACCESS))
      return random;
    if (!random->support(RandomAccessCapability::READ))
      throw Error(fmt::format("{} cannot be copied: it must be able to read", random->toString()));
    auto copy = std::make_shared<OwnedMemory>(random->size(), OwnedMemory::Growth::ANY);
    if (auto const count = random->read(0, copy->buffer(), copy->size()); count != copy->size())
      throw Error(fmt::format("{} ended after {} of {} bytes", random->toString(), count, copy->size()));
    return copy;
  });
}

std::shared_ptr<RandomAccess> RandomAccessFactory::mapFile(std::string const & path) {
  return guarded([&]() -> std::shared_ptr<RandomAccess> {
    return std::make_shared<MappedFile>(File::open(path, File::Mode::READ_WRITE), placeOf(path));
  });
}

std::shared_ptr<RandomAccess> RandomAccessFactory::openURIRead(Uri const & uri) {
  return guarded([&]() -> std::shared_ptr<RandomAccess> {
    if (uri.scheme() == "file")
      return fromStream(StreamAccessFactory::openFileRead(localPath(uri)));
    if (isHttp(uri.scheme()))
      return openHTTPRead(uri, "GET", {});
    throwUnknownScheme(uri);
  });
}

std::shared_ptr<RandomAccess> RandomAccessFactory::openHTTPRead(Uri const & uri, std::string const & method,
                                                                HTTPHeaders const & headers) {
  return guarded([&]() -> std::shared_ptr<RandomAccess> { return openHttpRead(uri, method, headers); });
}

std::shared_ptr<RandomAccess> RandomAccessFactory::extractRegion(std::shared_ptr<RandomAccess> src, size_t offset) {
  return guarded([&]() -> std::shared_ptr<RandomAccess> {
    requireAccess(src, "source of a region");
    auto const size = src->size();
    return extractRegion(std::move(src), offset, offset > size ? 0 : size - offset);
  });
}

std::shared_ptr<RandomAccess> RandomAccessFactory::extractRegion(std::shared_ptr<RandomAccess> src, size_t offset,
                                                                 size_t size) {
  return guarded([&]() -> std::shared_ptr<RandomAccess> {
    requireAccess(src, "source of a region");
    return std::make_shared<RegionAccess>(std::move(src), offset, size);
  });
}

std::shared_ptr<RandomAccess> RandomAccessFactory::fromStream(std::shared_ptr<StreamAccess> stream) {
  return guarded([&]() -> std::shared_ptr<RandomAccess> {
    requireAccess(stream, "stream");
    // A cursor over an accessor needs no detour.
    if (auto const cursor = std::dynamic_pointer_cast<CursorStream>(stream))
      return cursor->bytes();
    return std::make_shared<StreamedAccess>(std::move(stream));
  });
}

std::shared_ptr<RandomAccess> RandomAccessFactory::fromBuffer(void * buffer, size_t size) {
  return guarded([&]() -> std::shared_ptr<RandomAccess> { return fromBuffer(buffer, size, nullptr, true); });
}

std::shared_ptr<RandomAccess> RandomAccessFactory::fromBuffer(void * buffer, size_t size, std::shared_ptr<void> keeper,
                                                              bool canWrite) {
  return guarded([&]() -> std::shared_ptr<RandomAccess> {
    return std::make_shared<BorrowedMemory>(
        buffer, size, canWrite ? BorrowedMemory::Permission::READ_WRITE : BorrowedMemory::Permission::READ,
        std::move(keeper));
  });
}

std::shared_ptr<RandomAccess> RandomAccessFactory::openFileRead(std::string const & path) {
  return guarded([&]() -> std::shared_ptr<RandomAccess> { return openFileAccess(path, File::Mode::READ); });
}

std::shared_ptr<RandomAccess> RandomAccessFactory::openFile(std::string const & path) {
  return guarded([&]() -> std::shared_ptr<RandomAccess> { return openFileAccess(path, File::Mode::READ_WRITE); });
}

uint64_t RandomAccessFactory::bytesFromMappings() { return platform::PieceReader::bytesRead(); }

} // namespace zarnik
