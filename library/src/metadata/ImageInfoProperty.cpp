#include "zarnik/metadata/ImageInfoProperty.h"

#include "core/Guarded.h"
#include "metadata/ImageInterpretationTable.h"

#include <fmt/format.h>

namespace zarnik {

namespace {

constexpr ImageInterpretationInfo INTERPRETATIONS[] = {
    {ImageInterpretation::UNKNOWN, "UNKNOWN", 0, false},
    {ImageInterpretation::GRAYSCALE, "GRAYSCALE", 1, false},
    {ImageInterpretation::LABEL, "LABEL", 1, false},
    {ImageInterpretation::BINARY, "BINARY", 1, false},
    {ImageInterpretation::CIE_XYZ, "CIE_XYZ", 3, true},
    {ImageInterpretation::CIE_XYZ_CHROMATICITY, "CIE_XYZ_CHROMATICITY", 3, true},
    {ImageInterpretation::CIE_UVW, "CIE_UVW", 3, true},
    {ImageInterpretation::CIE_LUV, "CIE_LUV", 3, true},
    {ImageInterpretation::CIE_LAB, "CIE_LAB", 3, true},
    {ImageInterpretation::RGB, "RGB", 3, true},
    {ImageInterpretation::RGB_CHROMATICITY, "RGB_CHROMATICITY", 3, true},
    {ImageInterpretation::SRGB, "SRGB", 3, true},
    {ImageInterpretation::YUV, "YUV", 3, true},
    {ImageInterpretation::YCC, "YCC", 3, true},
    {ImageInterpretation::YIQ, "YIQ", 3, true},
    {ImageInterpretation::YDD, "YDD", 3, true},
    {ImageInterpretation::HSL, "HSL", 3, true},
    {ImageInterpretation::HSV, "HSV", 3, true},
    {ImageInterpretation::CMYK, "CMYK", 4, true},
    {ImageInterpretation::MULTISPECTRAL, "MULTISPECTRAL", 0, false},
};

Vector2d defaultRange(DataType type) { return type.isNumeric() ? DataType::standardRange(type) : Vector2d{}; }

} // namespace

ImageInterpretationInfo const * findImageInterpretation(ImageInterpretation interpretation) {
  for (auto const & info : INTERPRETATIONS)
    if (info.interpretation == interpretation)
      return &info;
  return nullptr;
}

ImageInfoProperty::ImageInfoProperty(ImageType const & axes, ImageInterpretation interpretation, bool alpha,
                                     size_t bitDepth, Vector2d const & valueRange)
    : axes_(axes), interpretation_(interpretation), alpha_(alpha), bitDepth_(bitDepth), valueRange_(valueRange) {}

ImageInfoProperty::ImageInfoProperty(ImageType const & axes, ImageInterpretation interpretation, bool alpha,
                                     DataType dtype)
    : ImageInfoProperty(axes, interpretation, alpha, dtype.bitDepth(), defaultRange(dtype)) {}

ImageInfoProperty::ImageInfoProperty(DataType dtype) : ImageInfoProperty(ImageType(), dtype) {}

ImageInfoProperty::ImageInfoProperty(ImageType const & axes, DataType dtype)
    : ImageInfoProperty(axes, ImageInterpretation::UNKNOWN, false, dtype) {}

ImageInfoProperty::ImageInfoProperty(ImageInfoProperty const & other) = default;
ImageInfoProperty::ImageInfoProperty(ImageInfoProperty && other) noexcept = default;
ImageInfoProperty::~ImageInfoProperty() = default;

size_t ImageInfoProperty::channelCount(ImageInterpretation interpretation) {
  auto const * const info = findImageInterpretation(interpretation);
  if (info == nullptr)
    throw InvalidArgument(message("{} is no image interpretation", static_cast<int>(interpretation)));
  return info->channelCount;
}

ImageType const & ImageInfoProperty::axesInterpretation() const { return axes_; }
ImageInterpretation ImageInfoProperty::interpretation() const { return interpretation_; }
bool ImageInfoProperty::alpha() const { return alpha_; }
size_t ImageInfoProperty::bitDepth() const { return bitDepth_; }
Vector2d const & ImageInfoProperty::valueRange() const { return valueRange_; }

void ImageInfoProperty::setAxesInterpretation(ImageType const & axes) { axes_ = axes; }
void ImageInfoProperty::setInterpretation(ImageInterpretation interpretation) { interpretation_ = interpretation; }
void ImageInfoProperty::setAlpha(bool alpha) { alpha_ = alpha; }
void ImageInfoProperty::setBitDepth(size_t bitDepth) { bitDepth_ = bitDepth; }
void ImageInfoProperty::setValueRange(Vector2d const & valueRange) { valueRange_ = valueRange; }

bool ImageInfoProperty::operator==(ImageInfoProperty const & other) const {
  return axes_ == other.axes_ && interpretation_ == other.interpretation_ && alpha_ == other.alpha_ &&
         bitDepth_ == other.bitDepth_ && valueRange_ == other.valueRange_;
}

std::string ImageInfoProperty::toString() const {
  return guarded([&] {
    auto const * const info = findImageInterpretation(interpretation_);
    return fmt::format("axes {}, interpretation {}, {}alpha, bit depth {}, value range {}", axes_.toString(),
                       info != nullptr ? std::string(info->name) : fmt::to_string(static_cast<int>(interpretation_)),
                       alpha_ ? "" : "no ", bitDepth_, valueRange_.toString());
  });
}

} // namespace zarnik
