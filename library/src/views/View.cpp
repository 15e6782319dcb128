#include "zarnik/views/View.h"

#include "zarnik/views/ViewOriginExtension.h"

namespace zarnik {

View::~View() = default;

std::shared_ptr<Extension> View::extension(size_t) const { return nullptr; }

std::shared_ptr<ViewOriginExtension> View::viewOrigin() const {
  return ViewOriginExtension::cast(extension(ViewOriginExtension::EXTENSION_ID));
}

} // namespace zarnik
