#pragma once

#include "module/Reference.h"

namespace zarnik::python {

/// Keeps what a wrapped object holds for the time of a call, whatever Python code destroys the object meanwhile: a
/// sequence among the arguments is asked for its items, and a class may ask back. The destruction is made up for when
/// the last pin goes. Needs the interpreter's lock; costs the links of a list.
class Pin {
public:
  Pin() = default;
  Pin(Pin const &) = delete;
  Pin & operator=(Pin const &) = delete;
  ~Pin() {
    if (pointer_)
      release();
  }

  /// Pins a pointer, and lets go of the one before.
  void hold(void const * pointer);

  /// Whether somebody pins a pointer.
  static bool isHeld(void const * pointer) { return first && find(pointer); }

  /// Leaves an object that owns a pinned pointer to its pin, which drops it.
  static void leave(void const * pointer, Reference owner);

private:
  static Pin * find(void const * pointer);
  void release();

  static inline Pin * first = nullptr;

  void const * pointer_ = nullptr;
  Pin * previous_ = nullptr;
  Pin * next_ = nullptr;
  Reference owner_;
};

} // namespace zarnik::python
