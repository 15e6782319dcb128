#include "zarnik/views/SharedSamples.h"

#include "zarnik/views/ImageView.h"

namespace zarnik {

SharedSamples shareSamples(std::shared_ptr<ImageView> const & view) {
  if (auto const * const sharing = dynamic_cast<SampleSharing const *>(view.get()))
    if (auto shared = sharing->shareSamples(); shared.owner)
      return shared;
  return {view->indexer(), view->buffer(), view};
}

} // namespace zarnik
