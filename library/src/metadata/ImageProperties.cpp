#include "zarnik/metadata/ImageProperties.h"

#include "core/Guarded.h"
#include "metadata/ImageInterpretationTable.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>

namespace zarnik {

namespace {

bool isFinite(Vector3d const & vector) {
  return std::all_of(vector.begin(), vector.end(), [](double component) { return std::isfinite(component); });
}

std::string objectionTo(SpatialCalibrationProperty const & calibration) {
  auto const & spacing = calibration.spacing();
  if (!isFinite(spacing) || std::count(spacing.begin(), spacing.end(), 0.0) > 0)
    return fmt::format("spacing {} has a component that is zero or not finite", spacing.toString());
  if (!isFinite(calibration.origin()))
    return fmt::format("origin {} is not finite", calibration.origin().toString());
  // The slice direction is the product of the other two: it is zero when those are parallel.
  auto const & directions = calibration.directions();
  bool const isSpanning = isFinite(directions.columnDirection()) && isFinite(directions.rowDirection()) &&
                          isFinite(directions.sliceDirection()) && directions.sliceDirection() != Vector3d{};
  return isSpanning ? std::string() : fmt::format("directions do not span the space: {}", directions.toString());
}

/// Channels that the image states itself to have: those of its type or of its channel axis.
uint64_t channelsOf(ImageType const & axes, VectorXu64 const & shape, DataType type) {
  uint64_t const components = type.isVector() ? type.elementCount() : 1;
  return axes.has(ImageDimension::CHANNEL) ? components * shape[axes.indexDimension(ImageDimension::CHANNEL)]
                                           : components;
}

std::string objectionTo(ImageInfoProperty const & info, VectorXu64 const & shape, DataType type) {
  auto const & axes = info.axesInterpretation();
  if (axes != ImageType() && axes.dimensionCount() != shape.size())
    return fmt::format("axes interpretation {} has {} dimensions, the image {}", axes.toString(), axes.dimensionCount(),
                       shape.size());
  if (info.bitDepth() > type.bitDepth() || (info.bitDepth() == 0 && type.bitDepth() > 0))
    return fmt::format("bit depth {} is not within 1 to {} of type {}", info.bitDepth(), type.bitDepth(),
                       type.toString());
  if (!findImageInterpretation(info.interpretation()))
    return fmt::format("{} is no image interpretation", static_cast<int>(info.interpretation()));
  if (std::isnan(info.valueRange()[0]) || std::isnan(info.valueRange()[1]))
    return fmt::format("value range {} is not a number", info.valueRange().toString());
  return {};
}

std::string objectionToColours(ImageInfoProperty const & info, VectorXu64 const & shape, DataType type) {
  auto const & interpretation = *findImageInterpretation(info.interpretation());
  if (info.alpha() && !interpretation.isColour)
    return fmt::format("interpretation {} is no colour model, it has no alpha channel", interpretation.name);
  uint64_t const channels = channelsOf(info.axesInterpretation(), shape, type);
  uint64_t const needed = interpretation.channelCount + (info.alpha() ? 1 : 0);
  if (interpretation.isColour && channels > 1 && channels != needed)
    return fmt::format("interpretation {} needs {} channels{}, the image has {}", interpretation.name, needed,
                       info.alpha() ? " with alpha" : "", channels);
  return {};
}

} // namespace

ImageProperties::ImageProperties(SpatialCalibrationProperty const & calibration, ImageInfoProperty const & imageInfo)
    : calibration_(calibration), imageInfo_(imageInfo) {}

ImageProperties::ImageProperties(ImageProperties const & other) = default;
ImageProperties::ImageProperties(ImageProperties && other) noexcept = default;
ImageProperties::~ImageProperties() = default;

std::shared_ptr<ImageProperties> ImageProperties::fromDataType(DataType dtype) {
  return fromProperties(SpatialCalibrationProperty(), ImageInfoProperty(dtype));
}

std::shared_ptr<ImageProperties> ImageProperties::fromProperties(SpatialCalibrationProperty const & calibration,
                                                                 ImageInfoProperty const & imageInfo) {
  return guarded([&] { return std::make_shared<ImageProperties>(calibration, imageInfo); });
}

std::shared_ptr<ImageProperties> ImageProperties::fromProperties(ImageProperties const & properties,
                                                                 SpatialCalibrationProperty const & calibration) {
  return fromProperties(calibration, properties.imageInfo_);
}

std::shared_ptr<ImageProperties> ImageProperties::fromProperties(ImageProperties const & properties,
                                                                 ImageInfoProperty const & imageInfo) {
  return fromProperties(properties.calibration_, imageInfo);
}

std::shared_ptr<ImageProperties> ImageProperties::clone() const {
  return guarded([&] { return std::make_shared<ImageProperties>(*this); });
}

SpatialCalibrationProperty const & ImageProperties::calibration() const { return calibration_; }
SpatialCalibrationProperty & ImageProperties::calibration() { return calibration_; }
void ImageProperties::setCalibration(SpatialCalibrationProperty const & calibration) {
  guarded([&] { calibration_ = calibration; });
}

ImageInfoProperty const & ImageProperties::imageInfo() const { return imageInfo_; }
ImageInfoProperty & ImageProperties::imageInfo() { return imageInfo_; }
void ImageProperties::setImageInfo(ImageInfoProperty const & imageInfo) { imageInfo_ = imageInfo; }

std::string ImageProperties::incompatibilityWith(VectorXu64 const & shape, DataType dtype) const {
  return guarded([&] {
    auto objection = objectionTo(imageInfo_, shape, dtype);
    if (objection.empty())
      objection = objectionToColours(imageInfo_, shape, dtype);
    return objection.empty() ? objectionTo(calibration_) : objection;
  });
}

bool ImageProperties::isCompatibleWith(VectorXu64 const & shape, DataType dtype) const {
  return incompatibilityWith(shape, dtype).empty();
}

void ImageProperties::requireCompatibleWith(VectorXu64 const & shape, DataType dtype) const {
  if (auto const objection = incompatibilityWith(shape, dtype); !objection.empty())
    throw InvalidArgument(objection);
}

void ImageProperties::requireSettableOn(VectorXu64 const & shape, DataType dtype) const {
  guarded([&] {
    auto objection = objectionTo(imageInfo_, shape, dtype);
    if (objection.empty())
      objection = objectionTo(calibration_);
    if (!objection.empty())
      throw InvalidArgument(objection);
  });
}

bool ImageProperties::operator==(ImageProperties const & other) const {
  return calibration_ == other.calibration_ && imageInfo_ == other.imageInfo_;
}

std::string ImageProperties::toString() const {
  return guarded(
      [&] { return fmt::format("calibration: {}\nimage info: {}", calibration_.toString(), imageInfo_.toString()); });
}

} // namespace zarnik
