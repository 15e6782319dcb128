#include "fuzz/Targets.h"

#include "core/Support.h"
#include "fuzz/Repair.h"
#include "http/MultipartReader.h"
#include "zarnik/access/FolderStorage.h"
#include "zarnik/access/RandomAccessFactory.h"
#include "zarnik/access/StreamAccessFactory.h"
#include "zarnik/frames/DataFrameView.h"
#include "zarnik/serialization/Serialization.h"
#include "zarnik/serialization/StoredImage.h"
#include "zarnik/views/ImageView.h"

#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <unistd.h>

namespace zarnik::test {
namespace {

void require(bool condition, char const * what) {
  if (!condition)
    throw std::logic_error(what);
}

std::string_view textOf(FuzzInput input) { return {reinterpret_cast<char const *>(input.data()), input.size()}; }

// ---- texts ---------------------------------------------------------------------------------------------------------

void readUri(FuzzInput input) {
  try {
    Uri const uri{std::string(textOf(input))};
    auto const text = uri.toString();
    Uri const again(text);
    require(again.toString() == text, "an URI is another one when it is read again");
    require(again.host() == uri.host() && again.path() == uri.path() && again.query() == uri.query() &&
                again.port() == uri.port() && again.userInfo() == uri.userInfo(),
            "an URI has other parts when it is read again");
    require(text.find(uri.authority()) != std::string::npos && text.find(uri.pathAndQuery()) != std::string::npos,
            "parts of an URI are not parts of it");
    require(Uri(uri.withoutCredentials()).userInfo().empty(), "an URI without credentials has some");
    auto const shown = http::printable(uri);
    require(shown.find_first_of(std::string_view("\r\n\0", 3)) == std::string::npos, "a printed URI breaks the line");
    http::HttpTarget const target(uri, "GET", HTTPHeaders(), HttpOptions(), {});
    require(target.text() == shown, "a target is called another name");
  } catch (Error const &) {
  }
}

void readFields(FuzzInput input) {
  auto const text = textOf(input);
  http::AnswerHead head;
  for (size_t begin = 0; begin <= text.size();) {
    auto const end = std::min(text.find('\n', begin), text.size());
    head.addLine(text.substr(begin, end - begin));
    begin = end + 1;
  }
  require(head.status >= 0 && head.status <= 999, "a status has more than three digits");
  require(head.entityTag.empty() || head.validator() != head.entityTag || !head.entityTag.starts_with("W/"),
          "a weak entity tag is sent back");
  for (auto const value : {std::string_view(head.contentRange), text}) {
    auto const range = http::parseContentRange(value);
    if (!range)
      continue;
    require(range->first.has_value() == range->last.has_value(), "a range has one end");
    require(!range->first || *range->first <= *range->last, "a range ends before it begins");
    require(!range->first || !range->total || *range->last < *range->total, "a range exceeds the resource");
    auto const again = http::parseContentRange(
        fmt::format("bytes {}/{}", range->first ? fmt::format("{}-{}", *range->first, *range->last) : "*",
                    range->total ? fmt::format("{}", *range->total) : "*"));
    require(again && again->first == range->first && again->last == range->last && again->total == range->total,
            "a range is another one when it is read again");
  }
}

// Takes a body with the ranges 0-9 and 20-99 apart, the first byte telling where it is cut in two.
void readMultipart(FuzzInput input) {
  struct Sink final : http::ByteSink {
    void accept(uint64_t offset, uint8_t const *, size_t size) override {
      require(offset == next, "bytes come out of order");
      next += size;
      if (next == 10)
        next = 20;
      require(next <= 100, "bytes come that were not asked for");
    }
    uint64_t next = 0;
  } sink;
  if (input.empty())
    return;
  http::ByteRange const ranges[] = {{0, 10}, {20, 80}};
  auto const text = textOf(input.subspan(1));
  auto const line = text.substr(0, text.find('\n'));
  http::MultipartReader reader(http::boundaryOf(line), ranges, 1000, sink);
  auto const body = text.substr(std::min(line.size() + 1, text.size()));
  auto const cut = std::min<size_t>(input[0], body.size());
  if (reader.take(body.data(), cut))
    reader.take(body.data() + cut, body.size() - cut);
  require(reader.done() <= 2 && (reader.done() < 2 || sink.next == 100), "parts are done that have not come");
}

// ---- resources of a folder -----------------------------------------------------------------------------------------

// A folder of a storage, and beside it what must not be reached.
class Surroundings {
public:
  Surroundings() : root_(std::filesystem::temp_directory_path() / fmt::format("zarnik_fuzz_{}", ::getpid())) {
    fill();
    storage_ = FolderStorage::open((root_ / "in").string());
  }
  Surroundings(Surroundings const &) = delete;
  Surroundings & operator=(Surroundings const &) = delete;
  ~Surroundings() { std::filesystem::remove_all(root_); }

  void open(std::string const & id, AccessCapabilities capabilities) {
    bool isWritten = false;
    try {
      auto const access = storage_->openRandomAccess(id, capabilities);
      isWritten = capabilities == AccessCapabilities::WRITE_ONLY;
      if (isWritten)
        access->write(0, "written", 7);
      else {
        char text[8] = {};
        access->read(0, text, 7);
        require(text == std::string_view("inside"), "something outside of the folder was opened");
      }
      require(access->resourceId() == id, "a resource has another name");
      require(id.find('\0') == std::string::npos, "a name with a null character was taken");
    } catch (Error const &) {
    }
    std::ifstream outside(root_ / "outside");
    require(std::string(std::istreambuf_iterator<char>(outside), {}) == "outside",
            "something outside of the folder was written");
    auto const entries = std::distance(std::filesystem::directory_iterator(root_), {});
    require(entries == 2, "something was made outside of the folder");
    if (isWritten)
      fill();
  }

private:
  void fill() const {
    std::filesystem::remove_all(root_);
    std::filesystem::create_directories(root_ / "in" / "sub");
    std::ofstream(root_ / "outside") << "outside";
    std::ofstream(root_ / "in" / "a") << "inside";
    std::ofstream(root_ / "in" / "sub" / "b") << "inside";
    std::filesystem::create_symlink("sub/b", root_ / "in" / "l");
    std::filesystem::create_symlink("../outside", root_ / "in" / "o");
    std::filesystem::create_symlink("..", root_ / "in" / "u");
    std::filesystem::create_symlink(root_, root_ / "in" / "sub" / "r");
  }

  std::filesystem::path root_;
  std::shared_ptr<DataStorage> storage_;
};

void openResource(FuzzInput input) {
  if (input.empty())
    return;
  static Surroundings surroundings;
  surroundings.open(std::string(textOf(input.subspan(1))), static_cast<AccessCapabilities>(1 + input[0] % 3));
}

// ---- stored objects ------------------------------------------------------------------------------------------------

std::shared_ptr<RandomAccess> accessTo(Bytes & bytes) {
  return RandomAccessFactory::fromBuffer(bytes.data(), bytes.size());
}

std::shared_ptr<StreamAccess> streamOver(Bytes & bytes) {
  return StreamAccessFactory::fromRandomAccess(accessTo(bytes));
}

template <typename Value, typename Encode> Bytes encoded(Value const & value, Encode encode) {
  auto const stream = StreamAccessFactory::allocate();
  encode(value, stream);
  auto const * const first = static_cast<uint8_t const *>(stream->buffer());
  return {first, first + stream->tell()};
}

// The bytes that an action gives, and none where it ends in an error of the library.
std::optional<Bytes> attempted(auto const & action) {
  try {
    return action();
  } catch (Error const &) {
    return std::nullopt;
  }
}

// What could be decoded is stored, and comes back as the same.
template <typename Decode, typename Encode> void decode(Bytes bytes, Decode decode, Encode encode) {
  auto stored = attempted([&] { return encoded(decode(streamOver(bytes)), encode); });
  if (stored)
    require(encoded(decode(streamOver(*stored)), encode) == *stored,
            "a stored object is another one when it is decoded");
}

void decodeFrame(FuzzInput input) {
  decode(repaired(input), &Serialization::decodeDataFrameView, &Serialization::encodeDataFrameView);
}

// The first byte chooses the class.
void decodeValue(FuzzInput input) {
  using Decoder = void (*)(Bytes);
#define ZARNIK_DECODER(NAME)                                                                                           \
  [](Bytes bytes) { decode(std::move(bytes), &Serialization::decode##NAME, &Serialization::encode##NAME); },
#define ZARNIK_ARRAY_DECODER(SUFFIX) ZARNIK_DECODER(ArrayX##SUFFIX)
#define ZARNIK_VECTOR_DECODER(SUFFIX) ZARNIK_DECODER(Vector##SUFFIX)
#define ZARNIK_MATRIX_DECODER(SUFFIX) ZARNIK_DECODER(Matrix##SUFFIX)
  static constexpr Decoder decoders[] = {
      ZARNIK_FOR_EACH_STORED_ARRAY(ZARNIK_ARRAY_DECODER) ZARNIK_FOR_EACH_STORED_VECTOR(ZARNIK_VECTOR_DECODER, X)
          ZARNIK_FOR_EACH_STORED_VECTOR(ZARNIK_VECTOR_DECODER, 3) ZARNIK_FOR_EACH_STORED_MATRIX(ZARNIK_MATRIX_DECODER)};
#undef ZARNIK_DECODER
#undef ZARNIK_ARRAY_DECODER
#undef ZARNIK_VECTOR_DECODER
#undef ZARNIK_MATRIX_DECODER
  if (!input.empty())
    decoders[input[0] % std::size(decoders)](repaired(input.subspan(1)));
}

Bytes corner(ImageView & image) {
  auto const & shape = image.shape();
  VectorXu64 size(shape.size());
  uint64_t bytes = image.dataType().byteCount();
  for (size_t axis = 0; axis != shape.size(); ++axis) {
    size[axis] = std::min<uint64_t>(shape[axis], axis < 4 ? 3 : 1);
    bytes *= size[axis];
  }
  Bytes samples(bytes);
  image.readRegion(RegionXu64(VectorXu64::createUniform(shape.size(), 0), size), samples.data());
  return samples;
}

void openImage(FuzzInput input) {
  auto bytes = repaired(input);
  decode(bytes, &Serialization::decodeImageView, &Serialization::encodeImageView);
  auto const expected = attempted([&] { return corner(*Serialization::decodeImageView(streamOver(bytes))); });
  auto const opened = attempted([&] { return corner(*openImageView(accessTo(bytes))); });
  require(!expected || opened, "an image that can be decoded cannot be opened");
  require(!expected || opened == expected, "an image that is opened differs from the decoded one");
}

} // namespace

std::span<FuzzTarget const> fuzzTargets() {
  static constexpr FuzzTarget targets[] = {
      {"uri", &readUri},        {"fields", &readFields}, {"multipart", &readMultipart}, {"resources", &openResource},
      {"values", &decodeValue}, {"image", &openImage},   {"frame", &decodeFrame}};
  return targets;
}

} // namespace zarnik::test
