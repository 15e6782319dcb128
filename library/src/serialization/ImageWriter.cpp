#include "zarnik/serialization/ImageWriter.h"

#include "core/Guarded.h"
#include "serialization/ImageCodec.h"
#include "zarnik/core/Error.h"
#include "zarnik/metadata/VariantDataValue.h"
#include "zarnik/values/ElementTypes.h"
#include "zarnik/views/ImageView.h"
#include "zarnik/views/Writer.h"

#include <bit>
#include <fmt/format.h>
#include <optional>
#include <type_traits>
#include <utility>

namespace zarnik {
namespace {

constexpr uint64_t MINIMUM_ALIGNMENT = 8;
constexpr uint64_t MAXIMUM_ALIGNMENT = 65536;

template <typename T> std::optional<uint64_t> unsignedOf(T value) {
  if constexpr (std::is_integral_v<T>)
    if (std::is_unsigned_v<T> || std::cmp_greater_equal(value, 0))
      return static_cast<uint64_t>(value);
  return std::nullopt;
}

/// A value that is one whole number.
std::optional<uint64_t> wholeNumber(VariantDataValue const & data) {
  if (data.count() != 1)
    return std::nullopt;
  switch (static_cast<DataTypeId>(data.type().id())) {
#define ZARNIK_NUMBER(type, suffix)                                                                                    \
  case dataTypeIdOf<type>:                                                                                             \
    return unsignedOf(*static_cast<type const *>(data.raw()));
    ZARNIK_FOR_EACH_ELEMENT_TYPE(ZARNIK_NUMBER)
#undef ZARNIK_NUMBER
  default:
    return std::nullopt;
  }
}

class ImageWriter : public Writer {
public:
  ImageWriter(std::shared_ptr<ImageView> image, std::shared_ptr<StreamAccess> stream)
      : image_(std::move(image)), stream_(std::move(stream)), blocks_(image_) {}

  std::string name() const override { return "Zarnik image"; }
  std::string version() const override {
    return guarded([] { return fmt::format("{}.{}", format::MAJOR_VERSION, format::MINOR_VERSION); });
  }

protected:
  void begin() override {
    writing([&] {
      writer_.emplace(stream_, format::Kind::IMAGE, image_->dataType(), options_);
      format::writeImageHeader(*writer_, *image_);
    });
  }

  uint64_t blockCount() const override { return blocks_.count(); }

  void writeBlock(uint64_t index) override {
    auto const before = writer_->position();
    try {
      requireUnbroken();
      blocks_.write(index, *writer_);
      writer_->beginStoring();
    } catch (...) {
      // Samples that could not be read leave the stream where it was.
      isBroken_ = isBroken_ || writer_->position() != before || stream_->fail();
      throw;
    }
  }

  void finish() override {
    writing([&] {
      writer_->endSection();
      writer_->finish();
      stream_->flush();
    });
  }

  void changeOption(std::string const & parameter, VariantDataValue const & data) override {
    auto const value = wholeNumber(data);
    auto const require = [&](bool isAllowed, std::string const & range) {
      if (!isAllowed)
        throw InvalidArgument(fmt::format("option '{}' takes {}, not {}", parameter, range,
                                          value ? fmt::to_string(*value) : "a value of another kind"));
    };
    if (parameter == "block_bytes") {
      require(value && *value >= format::MINIMUM_BLOCK_BYTES && *value <= format::MAXIMUM_BLOCK_BYTES,
              fmt::format("a number from {} to {}", format::MINIMUM_BLOCK_BYTES, format::MAXIMUM_BLOCK_BYTES));
      options_.blockBytes = *value;
    } else if (parameter == "checksums") {
      require(value && *value <= 1, "0 or 1");
      options_.isHashed = *value != 0;
    } else if (parameter == "alignment") {
      require(value && std::has_single_bit(*value) && *value >= MINIMUM_ALIGNMENT && *value <= MAXIMUM_ALIGNMENT,
              fmt::format("a power of two from {} to {}", MINIMUM_ALIGNMENT, MAXIMUM_ALIGNMENT));
      options_.alignment = *value;
    } else {
      throw InvalidArgument(
          fmt::format("option '{}' is not known, known are block_bytes, checksums and alignment", parameter));
    }
  }

private:
  void requireUnbroken() const {
    if (isBroken_)
      throw Error(fmt::format("{} failed before, what it has of the image is not whole", stream_->toString()));
  }

  template <typename Work> void writing(Work && work) {
    requireUnbroken();
    try {
      work();
    } catch (...) {
      isBroken_ = true;
      throw;
    }
  }

  std::shared_ptr<ImageView> image_;
  std::shared_ptr<StreamAccess> stream_;
  format::SampleBlocks blocks_;
  format::WriteOptions options_;
  std::optional<format::ObjectWriter> writer_;
  bool isBroken_ = false;
};

} // namespace

std::shared_ptr<Writer> makeImageWriter(std::shared_ptr<ImageView> image, std::shared_ptr<StreamAccess> stream) {
  return guarded([&]() -> std::shared_ptr<Writer> {
    format::requireStorable(image);
    if (!stream)
      throw InvalidArgument("there is no stream to write to");
    return std::make_shared<ImageWriter>(std::move(image), std::move(stream));
  });
}

} // namespace zarnik
