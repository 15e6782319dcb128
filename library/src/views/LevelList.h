#pragma once

#include "zarnik/views/LodImageView.h"

#include <vector>

namespace zarnik {

/// An image whose levels of detail exist already.
class LevelList : public LodImageView {
public:
  LevelList(std::vector<std::shared_ptr<ImageView>> levels, int64_t finestLevel);
  ~LevelList() override;

  std::shared_ptr<Extension> extension(size_t id) const override;
  Vector2i64 levelRange() const override;
  std::shared_ptr<ImageView> resolution(int64_t level) const override;

private:
  std::vector<std::shared_ptr<ImageView>> levels_;
  int64_t finestLevel_;
  std::shared_ptr<Extension> origin_;
};

} // namespace zarnik
