#pragma once

namespace zarnik {

/// What the channels of a pixel mean.
enum class ImageInterpretation {
  UNKNOWN = 0,
  GRAYSCALE = 1,
  LABEL = 2,
  BINARY = 3,
  CIE_XYZ = 0x11,
  CIE_XYZ_CHROMATICITY = 0x12,
  CIE_UVW = 0x14,
  CIE_LUV = 0x15,
  CIE_LAB = 0x16,
  RGB = 0x21,
  RGB_CHROMATICITY = 0x22,
  SRGB = 0x23,
  YUV = 0x31,
  YCC = 0x32,
  YIQ = 0x33,
  YDD = 0x34,
  HSL = 0x41,
  HSV = 0x42,
  CMYK = 0x51,
  MULTISPECTRAL = 0xff
};

} // namespace zarnik
