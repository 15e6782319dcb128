#include "zarnik/metadata/ImageProperties.h"
#include "zarnik/core/Error.h"

#include <cmath>
#include <functional>
#include <gmock/gmock.h>
#include <limits>

using namespace zarnik;
using testing::HasSubstr;

TEST(SpatialDirections, SliceIsPerpendicularToColumnAndRow) {
  EXPECT_EQ(SpatialDirections().sliceDirection(), Vector3d({0, 0, 1}));
  SpatialDirections const turned({0, 1, 0}, {1, 0, 0});
  EXPECT_EQ(turned.sliceDirection(), Vector3d({0, 0, -1}));
  EXPECT_NE(turned, SpatialDirections());
  EXPECT_EQ(turned.toString(), "column (0, 1, 0), row (1, 0, 0), slice (0, 0, -1)");
}

TEST(SpatialCalibrationProperty, ComparesEveryPart) {
  SpatialCalibrationProperty const base({1, 2, 3}, {4, 5, 6}, SpatialDirections(), "mm");
  EXPECT_EQ(SpatialCalibrationProperty(), SpatialCalibrationProperty({0, 0, 0}, {1, 1, 1}));
  std::function<void(SpatialCalibrationProperty &)> const changes[] = {
      [](auto & p) {
        p.setOrigin({1, 2, 4});
      },
      [](auto & p) {
        p.setSpacing({4, 5, 7});
      },
      [](auto & p) {
        p.setDirections({{0, 0, 1}, {0, 1, 0}});
      },
      [](auto & p) { p.setUnit("um"); },
  };
  for (auto const & change : changes) {
    auto changed = base;
    EXPECT_EQ(changed, base);
    change(changed);
    EXPECT_NE(changed, base);
  }
}

TEST(ImageInfoProperty, DefaultsFollowTheType) {
  ImageInfoProperty const info(ImageTypeId::VOLUME, DataTypeId::VEC3_UINT16);
  EXPECT_EQ(info.bitDepth(), 16u);
  EXPECT_EQ(info.valueRange(), Vector2d({0, 65535}));
  EXPECT_EQ(info.interpretation(), ImageInterpretation::UNKNOWN);
  EXPECT_FALSE(info.alpha());
  EXPECT_EQ(ImageInfoProperty(DataTypeId::FLOAT).valueRange(), Vector2d({0, 1}));
  EXPECT_EQ(ImageInfoProperty(DataTypeId::UTF8_STRING).valueRange(), Vector2d({0, 0}));
  EXPECT_EQ(ImageInfoProperty(DataType()).bitDepth(), 0u);
  auto other = info;
  other.setAxesInterpretation(ImageTypeId::IMAGE_SEQUENCE);
  EXPECT_FALSE(other == info);
}

TEST(ImageInfoProperty, ChannelCounts) {
  EXPECT_EQ(ImageInfoProperty::channelCount(ImageInterpretation::GRAYSCALE), 1u);
  EXPECT_EQ(ImageInfoProperty::channelCount(ImageInterpretation::HSV), 3u);
  EXPECT_EQ(ImageInfoProperty::channelCount(ImageInterpretation::CMYK), 4u);
  EXPECT_EQ(ImageInfoProperty::channelCount(ImageInterpretation::MULTISPECTRAL), 0u);
  EXPECT_THROW(ImageInfoProperty::channelCount(static_cast<ImageInterpretation>(0x13)), InvalidArgument);
}

TEST(ImageProperties, ReplacingAPartLeavesTheOriginal) {
  auto const base = ImageProperties::fromDataType(DataTypeId::UINT8);
  SpatialCalibrationProperty const calibration({1, 2, 3});
  auto const calibrated = ImageProperties::fromProperties(*base, calibration);
  auto const both = ImageProperties::fromProperties(*calibrated, ImageInfoProperty(DataTypeId::FLOAT));
  EXPECT_EQ(base->calibration(), SpatialCalibrationProperty());
  EXPECT_EQ(calibrated->imageInfo(), base->imageInfo());
  EXPECT_EQ(both->calibration(), calibration);
  auto const copy = both->clone();
  copy->imageInfo().setBitDepth(12);
  EXPECT_FALSE(*copy == *both);
}

struct CompatibilityCase {
  char const * objection; ///< empty when compatible
  DataTypeId type;
  VectorXu64 shape;
  std::function<void(ImageProperties &)> change;
};

TEST(ImageProperties, CompatibilityNamesWhatDoesNotFit) {
  auto const infinity = std::numeric_limits<double>::infinity();
  using Properties = ImageProperties &;
  using enum ImageInterpretation;
  auto const colours = [](ImageInterpretation interpretation, bool alpha) {
    return [=](Properties p) {
      p.imageInfo().setAxesInterpretation(ImageTypeId::MULTISPECTRAL_IMAGE);
      p.imageInfo().setInterpretation(interpretation);
      p.imageInfo().setAlpha(alpha);
    };
  };
  CompatibilityCase const cases[] = {
      {"", DataTypeId::UINT8, {4, 5}, [](Properties) {}},
      {"", DataTypeId::UNKNOWN, {4, 5}, [](Properties) {}},
      {"", DataTypeId::UINT16, {4, 5}, [](Properties p) { p.imageInfo().setBitDepth(12); }},
      {"bit depth 17", DataTypeId::UINT16, {4, 5}, [](Properties p) { p.imageInfo().setBitDepth(17); }},
      {"bit depth 0", DataTypeId::UINT16, {4, 5}, [](Properties p) { p.imageInfo().setBitDepth(0); }},
      {"3 dimensions, the image 2",
       DataTypeId::UINT8,
       {4, 5},
       [](Properties p) { p.imageInfo().setAxesInterpretation(ImageTypeId::VOLUME); }},
      {"", DataTypeId::UINT8, {4, 5, 3}, colours(RGB, false)},
      {"", DataTypeId::UINT8, {4, 5, 4}, colours(RGB, true)},
      {"", DataTypeId::UINT8, {4, 5, 1}, colours(CMYK, false)},
      {"", DataTypeId::UINT8, {4, 5, 7}, colours(MULTISPECTRAL, false)},
      {"RGB needs 4 channels with alpha, the image has 3", DataTypeId::UINT8, {4, 5, 3}, colours(RGB, true)},
      {"GRAYSCALE is no colour model", DataTypeId::UINT8, {4, 5, 2}, colours(GRAYSCALE, true)},
      {"UNKNOWN is no colour model",
       DataTypeId::VEC4_UINT8,
       {4, 5},
       [](Properties p) { p.imageInfo().setAlpha(true); }},
      {"", DataTypeId::VEC3_UINT8, {4, 5}, [](Properties p) { p.imageInfo().setInterpretation(HSL); }},
      {"CMYK needs 4", DataTypeId::VEC3_UINT8, {4, 5}, [](Properties p) { p.imageInfo().setInterpretation(CMYK); }},
      {"", DataTypeId::COMPLEX_FLOAT, {4, 5}, [](Properties p) { p.imageInfo().setInterpretation(RGB); }},
      {"19 is no image interpretation",
       DataTypeId::UINT8,
       {4, 5},
       [](Properties p) { p.imageInfo().setInterpretation(static_cast<ImageInterpretation>(0x13)); }},
      {"",
       DataTypeId::UINT8,
       {4},
       [](Properties p) {
         p.calibration().setSpacing({-1, 0.5, 2});
       }},
      {"spacing (1, 0, 1)",
       DataTypeId::UINT8,
       {4},
       [](Properties p) {
         p.calibration().setSpacing({1, 0, 1});
       }},
      {"spacing (",
       DataTypeId::UINT8,
       {4},
       [=](Properties p) {
         p.calibration().setSpacing({1, 1, infinity});
       }},
      {"origin (",
       DataTypeId::UINT8,
       {4},
       [=](Properties p) {
         p.calibration().setOrigin({0, -infinity, 1});
       }},
      {"do not span",
       DataTypeId::UINT8,
       {4},
       [](Properties p) {
         p.calibration().setDirections({{1, 1, 0}, {2, 2, 0}});
       }},
      {"value range",
       DataTypeId::FLOAT,
       {4},
       [](Properties p) {
         p.imageInfo().setValueRange({std::nan(""), 1});
       }},
  };
  for (auto const & [objection, type, shape, change] : cases) {
    auto const properties = ImageProperties::fromDataType(type);
    change(*properties);
    EXPECT_EQ(properties->isCompatibleWith(shape, type), *objection == '\0') << properties->toString();
    EXPECT_THAT(properties->incompatibilityWith(shape, type), HasSubstr(objection));
    if (*objection != '\0') {
      EXPECT_THROW(properties->requireCompatibleWith(shape, type), InvalidArgument);
    }
  }
}
