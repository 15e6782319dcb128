#pragma once

#include "zarnik/core/Export.h"
#include "zarnik/core/Progress.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace zarnik {

class ImageView;
class LodImageView;

/// How the samples of a coarser level come from those of the finer one.
enum class LevelMethod {
  /// NEAREST for labels and binary images, else MEAN.
  BY_INTERPRETATION,
  /// The mean of the samples that it covers, for intensities.
  MEAN,
  /// The first of the samples that it covers, for labels.
  NEAREST
};

/// Makes images at several levels of detail.
class ZARNIK_API LodImageViewFactory {
public:
  /// Makes an image of levels that exist already, which are shared, not copied.
  /// \param levels      the images, the finest first, at least one
  /// \param finestLevel the level of the first image, at most 0: -1 when the second image is the full resolution
  /// \throws InvalidArgument when there is no level 0 among them or an image is null
  static std::shared_ptr<LodImageView> createFromLevels(std::vector<std::shared_ptr<ImageView>> levels,
                                                        int64_t finestLevel = 0);

  /// Makes the coarser levels of an image: each has half the size of the one before along the spatial dimensions,
  /// rounded up.
  ///
  /// Nothing is read now. A part of a level is computed when it is first read, from the level before, and kept in a
  /// temporary file that goes with the level. Later changes of the image are not seen there.
  /// \param image        level 0
  /// \param coarsestSize levels are made until no spatial dimension is longer than this
  /// \param folder       for the temporary files, empty for the usual one
  /// \throws InvalidArgument when the image is null or its values cannot be averaged
  static std::shared_ptr<LodImageView> createLevels(std::shared_ptr<ImageView> image,
                                                    LevelMethod method = LevelMethod::BY_INTERPRETATION,
                                                    uint64_t coarsestSize = 64, std::string const & folder = {});

  /// Computes all of the levels that createLevels made and nobody has read yet, so that reading them waits for nothing.
  /// Levels that came from elsewhere stay as they are.
  /// \param progress told the bytes of the levels; who cancels keeps the parts that are there, the rest comes later
  /// \throws Error when it is cancelled, the image cannot be read or there is no room
  static void computeLevels(LodImageView const & levels, Progress const & progress = {});
};

} // namespace zarnik
