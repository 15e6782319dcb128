#include "zarnik/views/MultiImageViewFactory.h"

#include "views/ListMultiImageView.h"

namespace zarnik {

std::shared_ptr<MultiImageView> MultiImageViewFactory::create() { return createFromList(nullptr, 0); }

std::shared_ptr<MultiImageView> MultiImageViewFactory::createFromList(std::shared_ptr<ImageView> const * images,
                                                                      size_t count) {
  return std::make_shared<ListMultiImageView>(std::vector<std::shared_ptr<ImageView>>(images, images + count));
}

} // namespace zarnik
