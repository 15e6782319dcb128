#pragma once

#include "zarnik/values/Vector.h"
#include "zarnik/views/View.h"

#include <cstdint>
#include <memory>
#include <string>

namespace zarnik {

#ifndef SWIG
class ImageView;
#endif

/// An image at several levels of detail.
///
/// Level 0 is the full resolution of the image as it is stored, negative levels are finer, positive levels coarser.
/// The calibration of each level tells where its samples are in space.
class ZARNIK_API LodImageView : public View {
public:
  /// Destroy the image. Its levels live on where they are held.
  ~LodImageView() override;

  /// Return the levels that there are.
  /// \return The finest level, at most 0, and the coarsest level, at least 0.
  virtual Vector2i64 levelRange() ZARNIK_QUERY = 0;

  /// Return the image at one level of detail.
  /// \param level The level, within levelRange(), both ends included.
  /// \return The image of that level, never null.
  /// \throws Error if the level is out of range.
  virtual std::shared_ptr<ImageView> resolution(int64_t level) ZARNIK_QUERY = 0;

  /// Return a string representation
  /// \return The range of levels and the image of level 0, in one line.
  std::string toString() const;

protected:
  LodImageView() = default;
};

} // namespace zarnik
