#pragma once

#include "module/Reference.h"

namespace zarnik::python {

/// Arrays of NumPy that show the memory of wrapped values, which live as long as those, whatever becomes of the wrapped
/// objects. Needs the interpreter's lock.
class Exports {
public:
  /// Remembers that an array shows the memory of what a pointer points to, until the array goes; false with an error
  /// pending when that cannot be had.
  static bool add(void const * pointer, PyObject * array);

  static bool has(void const * pointer) { return count > 0 && contains(pointer); }

  /// Leaves an object that owns such a pointer to the arrays, the last of which drops it.
  static void leave(void const * pointer, Reference owner);

private:
  static bool contains(void const * pointer);

  static inline long count = 0;
  friend struct Watch;
};

} // namespace zarnik::python
