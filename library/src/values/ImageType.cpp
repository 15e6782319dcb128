#include "zarnik/values/ImageType.h"

#include "core/Guarded.h"

#include <array>
#include <bit>
#include <fmt/format.h>

namespace zarnik {

namespace {

constexpr std::array NAMES{"COLUMN", "ROW", "SLICE", "CHANNEL", "SEQUENCE"};
constexpr auto DIMENSION_COUNT = static_cast<int>(NAMES.size());

constexpr bool isDimension(ImageDimension dimension) {
  return static_cast<int>(dimension) >= 0 && static_cast<int>(dimension) < DIMENSION_COUNT;
}

constexpr uint64_t bit(ImageDimension dimension) { return uint64_t{1} << static_cast<int>(dimension); }

template <typename... Dimensions> constexpr uint64_t bits(Dimensions... dimensions) { return (bit(dimensions) | ...); }

uint64_t checkedBit(ImageDimension dimension) {
  if (!isDimension(dimension))
    throw InvalidArgument(message("image dimension {} is unknown, allowed are 0 to {}", static_cast<int>(dimension),
                                  DIMENSION_COUNT - 1));
  return bit(dimension);
}

} // namespace

ImageType::ImageType(ImageDimension dimension) : value_(checkedBit(dimension)) {}

ImageType::ImageType(ImageDimension const * dimensions, size_t count) {
  if (count > NAMES.size())
    throw InvalidArgument(
        message("a list of {} image dimensions names one more than once, there are {}", count, NAMES.size()));
  if (dimensions == nullptr && count != 0)
    throw InvalidArgument(message("no list of {} image dimensions was given", count));
  for (size_t i = 0; i != count; ++i)
    add(dimensions[i]);
}

ImageType::ImageType(uint64_t value) : value_(value) {
  constexpr auto limit = uint64_t{1} << DIMENSION_COUNT;
  if (value >= limit)
    throw InvalidArgument(message("image type value {} is unknown, allowed are 0 to {}", value, limit - 1));
}

bool ImageType::has(ImageDimension dimension) const { return isDimension(dimension) && (value_ & bit(dimension)) != 0; }

void ImageType::add(ImageDimension dimension) { value_ |= checkedBit(dimension); }

void ImageType::remove(ImageDimension dimension) { value_ &= ~checkedBit(dimension); }

void ImageType::remove(size_t index) { remove(dimension(index)); }

size_t ImageType::dimensionCount() const { return static_cast<size_t>(std::popcount(value_)); }

ImageDimension ImageType::dimension(size_t index) const {
  if (index >= dimensionCount())
    throw InvalidArgument(message("image type {} has no dimension {}, it has {}", toString(), index, dimensionCount()));
  auto remaining = value_;
  for (size_t i = 0; i != index; ++i)
    remaining &= remaining - 1;
  return static_cast<ImageDimension>(std::countr_zero(remaining));
}

size_t ImageType::indexDimension(ImageDimension dimension) const {
  auto const wanted = checkedBit(dimension);
  if ((value_ & wanted) == 0)
    throw InvalidArgument(
        message("image type {} has no dimension {}", toString(), NAMES[static_cast<size_t>(dimension)]));
  return static_cast<size_t>(std::popcount(value_ & (wanted - 1)));
}

ImageType ImageType::operator|(ImageDimension dimension) const {
  auto result = *this;
  result.add(dimension);
  return result;
}

std::string ImageType::toString() const {
  return guarded([&] {
    std::string text = "(";
    for (auto remaining = value_; remaining != 0; remaining &= remaining - 1)
      text +=
          fmt::format("{}{}", text.size() == 1 ? "" : ", ", NAMES[static_cast<size_t>(std::countr_zero(remaining))]);
    return text + ")";
  });
}

ImageType operator|(ImageDimension left, ImageDimension right) { return ImageType() | left | right; }

ImageType operator|(ImageDimension left, ImageType const & right) { return right | left; }

// Constant initialisation: initialisers of other files may use the types.
using enum ImageDimension;
constinit ImageType ImageTypeId::UNKNOWN{ImageType::Known(), 0};
constinit ImageType ImageTypeId::IMAGE{ImageType::Known(), bits(COLUMN, ROW)};
constinit ImageType ImageTypeId::VOLUME{ImageType::Known(), bits(COLUMN, ROW, SLICE)};
constinit ImageType ImageTypeId::MULTISPECTRAL_IMAGE{ImageType::Known(), bits(COLUMN, ROW, CHANNEL)};
constinit ImageType ImageTypeId::MULTISPECTRAL_VOLUME{ImageType::Known(), bits(COLUMN, ROW, SLICE, CHANNEL)};
constinit ImageType ImageTypeId::IMAGE_SEQUENCE{ImageType::Known(), bits(COLUMN, ROW, SEQUENCE)};
constinit ImageType ImageTypeId::VOLUME_SEQUENCE{ImageType::Known(), bits(COLUMN, ROW, SLICE, SEQUENCE)};
constinit ImageType ImageTypeId::MULTISPECTRAL_IMAGE_SEQUENCE{ImageType::Known(), bits(COLUMN, ROW, CHANNEL, SEQUENCE)};
constinit ImageType ImageTypeId::MULTISPECTRAL_VOLUME_SEQUENCE{ImageType::Known(),
                                                               bits(COLUMN, ROW, SLICE, CHANNEL, SEQUENCE)};

} // namespace zarnik
