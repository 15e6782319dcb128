#include "access/AccessContract.h"
#include "zarnik/core/Error.h"

#include <algorithm>
#include <fstream>
#include <unistd.h>

namespace zarnik::test {

std::filesystem::path scratchFolder() {
  struct Root {
    Root() : path(std::filesystem::temp_directory_path() / ("zarnik_access_" + std::to_string(::getpid()))) {
      std::filesystem::create_directory(path);
    }
    ~Root() {
      std::error_code ignored;
      std::filesystem::remove_all(path, ignored);
    }
    std::filesystem::path path;
  };
  static Root const root;
  static int count = 0;
  auto folder = root.path / std::to_string(++count);
  std::filesystem::create_directory(folder);
  return folder;
}

std::string scratchFile(Bytes const & content) {
  auto const path = (scratchFolder() / "some file").string();
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<char const *>(content.data()), static_cast<std::streamsize>(content.size()));
  return path;
}

Bytes readAll(RandomAccess & access) {
  Bytes content(access.size());
  EXPECT_EQ(access.read(0, content.data(), content.size()), content.size());
  return content;
}

namespace {

// Written from the interface alone, as a user of the library would.
class ForeignStream : public StreamAccess {
public:
  ForeignStream(Bytes content, StreamAccessCapabilitySet capabilities)
      : content_(std::move(content)), capabilities_(capabilities) {}
  StreamAccessCapabilitySet capabilities() const override { return capabilities_; }
  bool eof() const override { return metEnd_; }
  bool fail() const override { return false; }
  std::string toString() const override { return "foreign stream"; }
  uint8_t peek() override {
    need(StreamAccessCapability::READ);
    if (position_ == content_.size())
      throw Error("at the end");
    return content_[position_];
  }
  void flush() override {}
  size_t tell() override { return position_; }
  void seek(int64_t offset, SeekOrigin origin) override {
    need(StreamAccessCapability::SEEK);
    if (origin < SeekOrigin::BEGIN || origin > SeekOrigin::END)
      throw Error("no such origin");
    auto const size = static_cast<int64_t>(content_.size());
    auto const base = origin == SeekOrigin::BEGIN ? 0
                      : origin == SeekOrigin::END ? size
                                                  : static_cast<int64_t>(position_);
    if (offset < -base || offset > size - base)
      throw Error("outside of the stream");
    position_ = static_cast<size_t>(base + offset);
    metEnd_ = false;
  }
  size_t read(void * destination, size_t size) override {
    need(StreamAccessCapability::READ);
    auto const count = std::min(size, content_.size() - position_);
    std::copy_n(content_.data() + position_, count, static_cast<uint8_t *>(destination));
    position_ += count;
    metEnd_ = metEnd_ || count < size;
    return count;
  }
  size_t write(void const * source, size_t size) override {
    need(StreamAccessCapability::WRITE);
    auto const count = std::min(size, content_.size() - position_);
    std::copy_n(static_cast<uint8_t const *>(source), count, content_.data() + position_);
    position_ += count;
    return count;
  }

private:
  void need(StreamAccessCapability capability) const {
    if (!support(capability))
      throw NotImplemented("not offered");
  }

  Bytes content_;
  StreamAccessCapabilitySet capabilities_;
  size_t position_ = 0;
  bool metEnd_ = false;
};

} // namespace

std::shared_ptr<StreamAccess> foreignStream(Bytes content, StreamAccessCapabilitySet capabilities) {
  return std::make_shared<ForeignStream>(std::move(content), capabilities);
}

} // namespace zarnik::test
