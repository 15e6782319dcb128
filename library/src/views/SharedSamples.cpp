#include "zarnik/views/SharedSamples.h"

#include "zarnik/views/ImageView.h"

namespace zarnik {

SharedSamples shareSamples(std::shared_ptr<ImageView> const & view) {
  if (auto const * const sharing = dynamic_cast<SampleSharing const *>(view.get()))
    if (auto shared = sharing->shareSamples(); shared.owner)
      return shared;
  // Another thread may reshape it in between.
  while (true) {
    auto const & geometry = view->indexer();
    auto * const memory = view->buffer();
    if (view->indexer() == geometry)
      return {geometry, memory, view};
  }
}

} // namespace zarnik
