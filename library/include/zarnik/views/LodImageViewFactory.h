#pragma once

#include "zarnik/core/Export.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace zarnik {

class ImageView;
class LodImageView;

/// Makes images at several levels of detail.
class ZARNIK_API LodImageViewFactory {
public:
  /// Makes an image of levels that exist already, which are shared, not copied.
  /// \param levels      the images, the finest first, at least one
  /// \param finestLevel the level of the first image, at most 0: -1 when the second image is the full resolution
  /// \throws InvalidArgument when there is no level 0 among them or an image is null
  static std::shared_ptr<LodImageView> createFromLevels(std::vector<std::shared_ptr<ImageView>> levels,
                                                        int64_t finestLevel = 0);
};

} // namespace zarnik
