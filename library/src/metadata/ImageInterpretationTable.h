#pragma once

#include "zarnik/metadata/ImageInterpretation.h"

#include <cstddef>
#include <string_view>

namespace zarnik {

struct ImageInterpretationInfo {
  ImageInterpretation interpretation;
  std::string_view name;
  size_t channelCount; ///< without alpha, 0 if it is open
  bool isColour;       ///< only colour models can have an alpha channel
};

/// What is known of an interpretation, null for a value that is none.
ImageInterpretationInfo const * findImageInterpretation(ImageInterpretation interpretation);

} // namespace zarnik
