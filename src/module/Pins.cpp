#include "module/Pins.h"

#include <utility>

namespace zarnik::python {

void Pin::hold(void const * pointer) {
  if (pointer_)
    release();
  if (!pointer)
    return;
  pointer_ = pointer;
  previous_ = nullptr;
  next_ = first;
  if (next_)
    next_->previous_ = this;
  first = this;
}

void Pin::leave(void const * pointer, Reference owner) {
  if (auto * const pin = find(pointer))
    pin->owner_ = std::move(owner);
}

Pin * Pin::find(void const * pointer) {
  for (auto * pin = first; pin; pin = pin->next_)
    if (pin->pointer_ == pointer)
      return pin;
  return nullptr;
}

void Pin::release() {
  if (previous_)
    previous_->next_ = next_;
  else
    first = next_;
  if (next_)
    next_->previous_ = previous_;
  pointer_ = nullptr;
  // Destroyed now, or left to another pin of the same pointer.
  owner_ = Reference();
}

} // namespace zarnik::python
