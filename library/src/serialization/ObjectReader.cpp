#include "serialization/ObjectReader.h"

#include "serialization/HashedBlocks.h"
#include "zarnik/core/Error.h"

#include <algorithm>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <typeinfo>
#include <utility>

namespace zarnik::format {
namespace {

constexpr uint64_t PIECE_BYTES = uint64_t{1} << 20;

std::string kindText(uint32_t kind) {
  switch (static_cast<Kind>(kind)) {
  case Kind::VECTOR:
    return "a Vector";
  case Kind::ARRAY:
    return "an ArrayX";
  case Kind::MATRIX:
    return "a Matrix";
  case Kind::IMAGE:
    return "an ImageView";
  case Kind::DATA_FRAME:
    return "a DataFrameView";
  }
  return fmt::format("of the unknown kind {}", kind);
}

} // namespace

std::string tagText(uint32_t tag) {
  std::string text(4, ' ');
  for (size_t i = 0; i != 4; ++i) {
    auto const letter = static_cast<unsigned char>(tag >> (8 * i));
    text[i] = letter >= 0x20 && letter < 0x7F ? static_cast<char>(letter) : '?';
  }
  return text;
}

ObjectReader::ObjectReader(std::shared_ptr<StreamAccess> stream, Kind kind, char const * what)
    : stream_(std::move(stream)), what_(what) {
  if (!stream_)
    throw InvalidArgument(fmt::format("there is no stream to decode {} from", what));
  if (!stream_->support(StreamAccessCapability::READ))
    throw InvalidArgument(fmt::format("{} cannot be read to decode {}", stream_->toString(), what));
  StreamAccess & source = *stream_;
  cursor_ = typeid(source) == typeid(CursorStream) ? static_cast<CursorStream *>(&source) : nullptr;
  ObjectHeader header{};
  get(&header, sizeof header, "the header");
  if (header.magic != MAGIC)
    fail(fmt::format("the magic number {:02x} is invalid, {:02x} was expected", fmt::join(header.magic, " "),
                     fmt::join(MAGIC, " ")));
  if (header.majorVersion != MAJOR_VERSION)
    fail(fmt::format("format version {}.{} is not compatible with {}.{}, which this version of Zarnik reads",
                     header.majorVersion, header.minorVersion, MAJOR_VERSION, MINOR_VERSION));
  if (header.hash != hashOf(&header, offsetof(ObjectHeader, hash)))
    fail("the header is damaged: its hash does not match");
  if (header.kind != static_cast<uint32_t>(kind))
    fail(fmt::format("the object is {}, not {}", kindText(header.kind), what));
  if ((header.flags & ~uint64_t{OBJECT_HASHED}) != 0)
    fail(fmt::format("the flags {:#x} are not known", header.flags));
  if (header.blockBytes < MINIMUM_BLOCK_BYTES || header.blockBytes > MAXIMUM_BLOCK_BYTES)
    fail(fmt::format("blocks of {} bytes are not between {} and {}", header.blockBytes, MINIMUM_BLOCK_BYTES,
                     MAXIMUM_BLOCK_BYTES));
  dataType_ = DataType(header.dataType);
  isHashed_ = (header.flags & OBJECT_HASHED) != 0;
  blockBytes_ = header.blockBytes;
}

void ObjectReader::fail(std::string const & reason) const {
  throw Error(fmt::format("cannot decode {} from {}: {} (before byte {} of the object)", what_, stream_->toString(),
                          reason, position_));
}

void ObjectReader::get(void * destination, uint64_t size, char const * part) {
  auto * rest = static_cast<std::byte *>(destination);
  while (size != 0) {
    auto const count = stream_->read(rest, size);
    if (count == 0 || count > size)
      fail(fmt::format("the stream ends in {}, where {} more bytes were expected", part, size));
    rest += count;
    size -= count;
    position_ += count;
  }
}

Tag ObjectReader::next(std::initializer_list<Tag> wanted) {
  while (true) {
    SectionHeader header{};
    get(&header, sizeof header, "the header of a section");
    if (header.sync != SYNC)
      fail(fmt::format("synchronization tag not found: {:#010x} instead of {:#010x}", header.sync, SYNC));
    if (header.hash != hashOf(&header, offsetof(SectionHeader, hash)))
      fail("the header of a section is damaged: its hash does not match");
    tag_ = header.tag;
    length_ = left_ = header.length;
    hashes_.clear();
    for (auto const tag : wanted) {
      if (tag_ == tag) {
        if (tag == END && length_ != 0)
          fail(fmt::format("the end of the object has {} bytes of content", length_));
        return tag;
      }
    }
    if ((header.flags & SECTION_OPTIONAL) == 0)
      fail(fmt::format("section '{}' stands where it is not expected, or is not known", tagText(tag_)));
    skipSection();
  }
}

void ObjectReader::skipSection() {
  std::vector<std::byte> scratch(std::min<uint64_t>(left_, 64 * 1024));
  while (left_ != 0)
    read(scratch.data(), std::min<uint64_t>(left_, scratch.size()));
  endSection();
}

void ObjectReader::read(void * destination, uint64_t size) {
  if (size > left_)
    fail(fmt::format("section '{}' has {} bytes left where {} are needed", tagText(tag_), left_, size));
  auto * rest = static_cast<std::byte *>(destination);
  while (size != 0) {
    auto part = getBlocks(rest, size);
    if (part == 0)
      part = getPart(rest, size);
    left_ -= part;
    rest += part;
    size -= part;
  }
}

uint64_t ObjectReader::getBlocks(std::byte * destination, uint64_t size) {
  HashedBlocks const blocks{blockBytes_, size / blockBytes_};
  if (!isHashed_ || inBlock_ != 0 || blocks.count < 2 || cursor_ == nullptr || !cursor_->isLocal())
    return 0;
  // What cannot be read is found again, and told, when it is read by parts.
  auto const hashes = blocks.read(*cursor_->bytes(), cursor_->tell(), destination);
  if (hashes.empty())
    return 0;
  cursor_->seek(static_cast<int64_t>(blocks.bytes()), SeekOrigin::CURRENT);
  position_ += blocks.bytes();
  hashes_.insert(hashes_.end(), hashes.begin(), hashes.end());
  return blocks.bytes();
}

uint64_t ObjectReader::getPart(std::byte * destination, uint64_t size) {
  auto const name = tagText(tag_);
  if (!isHashed_) {
    get(destination, size, name.c_str());
    return size;
  }
  // Hashed while it is in the cache.
  auto const part = std::min(size, blockBytes_ - inBlock_);
  get(destination, part, name.c_str());
  hash_.add(destination, part);
  inBlock_ += part;
  if (inBlock_ == blockBytes_ || part == left_) {
    hashes_.push_back(hash_.value());
    hash_.restart();
    inBlock_ = 0;
  }
  return part;
}

void ObjectReader::endSection() {
  if (left_ != 0)
    fail(fmt::format("section '{}' has {} bytes behind its content", tagText(tag_), left_));
  for (size_t block = 0; block != hashes_.size(); ++block) {
    uint64_t expected = 0;
    get(&expected, sizeof expected, "the hashes of a section");
    if (expected != hashes_[block])
      fail(fmt::format("block {} of section '{}' is damaged: its hash does not match", block, tagText(tag_)));
  }
}

std::vector<std::byte> ObjectReader::readSection() {
  std::vector<std::byte> content;
  while (left_ != 0) {
    auto const piece = std::min(left_, PIECE_BYTES);
    content.resize(content.size() + piece);
    read(content.data() + content.size() - piece, piece);
  }
  endSection();
  return content;
}

} // namespace zarnik::format
