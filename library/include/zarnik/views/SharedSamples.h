#pragma once

#include "zarnik/core/Export.h"
#include "zarnik/values/Indexer.h"

#include <memory>

namespace zarnik {

class ImageView;

/// Samples in memory, with what keeps them: they stay as they were at one moment, whatever becomes of the view.
struct SharedSamples {
  Indexer indexer;
  void * data = nullptr;
  std::shared_ptr<void const> owner;
};

/// A view that can be reshaped, or lose its memory, while others use it: they take a share of the samples for their
/// time. To be implemented beside ImageView.
class ZARNIK_API SampleSharing {
public:
  virtual ~SampleSharing() = default;

  /// The samples of now, without an owner if there are none to share. Safe to call while another thread reshapes the
  /// view, and not to be used to do what the view's capabilities do not offer.
  virtual SharedSamples shareSamples() const = 0;
};

/// The samples of a view with MEMORY_ACCESS: its own share where it has one, else what its indexer and buffer say,
/// owned by the view.
ZARNIK_API SharedSamples shareSamples(std::shared_ptr<ImageView> const & view);

} // namespace zarnik
