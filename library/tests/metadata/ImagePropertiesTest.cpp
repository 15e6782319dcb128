#include "zarnik/metadata/ImageProperties.h"
#include "zarnik/core/Error.h"

#include <cmath>
#include <functional>
#include <gmock/gmock.h>
#include <limits>

using namespace zarnik;
using testing::HasSubstr;

using Change = std::function<void(ImageProperties &)>;

Change colours(ImageInterpretation interpretation, bool alpha = false) {
  return [=](auto & p) {
    p.imageInfo().setInterpretation(interpretation);
    p.imageInfo().setAlpha(alpha);
  };
}
Change channels(ImageInterpretation interpretation, bool alpha = false) {
  return [=](auto & p) {
    p.imageInfo().setAxesInterpretation(ImageTypeId::MULTISPECTRAL_IMAGE);
    colours(interpretation, alpha)(p);
  };
}

struct CompatibilityCase {
  char const * objection; ///< empty when compatible
  DataTypeId type;
  VectorXu64 shape;
  Change change;
};

TEST(ImageProperties, CompatibilityNamesWhatDoesNotFit) {
  auto const infinity = std::numeric_limits<double>::infinity();
  using enum ImageInterpretation;
  using Id = DataTypeId;
  auto const bitDepth = [](size_t depth) { return [=](auto & p) { p.imageInfo().setBitDepth(depth); }; };
  auto const spacing = [](Vector3d const & s) { return [=](auto & p) { p.calibration().setSpacing(s); }; };
  Change const nothing = [](auto &) {};
  Change const farAway = [=](auto & p) { p.calibration().setOrigin(Vector3d{0, -infinity, 1}); };
  Change const flat = [](auto & p) { p.calibration().setDirections(SpatialDirections({1, 1, 0}, {2, 2, 0})); };
  Change const noRange = [](auto & p) { p.imageInfo().setValueRange(Vector2d{std::nan(""), 1}); };
  Change const axes = [](auto & p) { p.imageInfo().setAxesInterpretation(ImageTypeId::VOLUME); };
  auto const strange = static_cast<ImageInterpretation>(0x13);
  CompatibilityCase const cases[] = {
      {"", Id::UINT8, {4, 5}, nothing},
      {"", Id::UNKNOWN, {4, 5}, nothing},
      {"", Id::UINT16, {4, 5}, bitDepth(12)},
      {"bit depth 17", Id::UINT16, {4, 5}, bitDepth(17)},
      {"3 dimensions, the image 2", Id::UINT8, {4, 5}, axes},
      {"", Id::UINT8, {4, 5, 3}, channels(RGB)},
      {"", Id::UINT8, {4, 5, 4}, channels(RGB, true)},
      {"", Id::UINT8, {4, 5, 1}, channels(CMYK)},
      {"", Id::UINT8, {4, 5, 7}, channels(MULTISPECTRAL)},
      {"RGB needs 4 channels with alpha, the image has 3", Id::UINT8, {4, 5, 3}, channels(RGB, true)},
      {"GRAYSCALE is no colour model", Id::UINT8, {4, 5, 2}, channels(GRAYSCALE, true)},
      {"UNKNOWN is no colour model", Id::VEC4_UINT8, {4, 5}, colours(ImageInterpretation::UNKNOWN, true)},
      {"", Id::VEC3_UINT8, {4, 5}, colours(HSL)},
      {"CMYK needs 4", Id::VEC3_UINT8, {4, 5}, colours(CMYK)},
      {"", Id::COMPLEX_FLOAT, {4, 5}, colours(RGB)},
      {"19 is no image interpretation", Id::UINT8, {4, 5}, colours(strange)},
      {"", Id::UINT8, {4}, spacing({-1, 0.5, 2})},
      {"spacing (1, 0, 1)", Id::UINT8, {4}, spacing({1, 0, 1})},
      {"spacing (", Id::UINT8, {4}, spacing({1, 1, infinity})},
      {"origin (", Id::UINT8, {4}, farAway},
      {"do not span", Id::UINT8, {4}, flat},
      {"value range", Id::FLOAT, {4}, noRange},
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
