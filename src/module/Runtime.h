#pragma once

#include "module/Holders.h"
#include "module/Python.h"

#include <cstddef>
#include <memory>

namespace zarnik {
class ImageView;
} // namespace zarnik

namespace zarnik::python {

// SWIG's runtime is private to the generated file; these functions, defined there, open the little of it that
// hand-written code needs.

/// A wrapped object of the given type, owning its pointer, as an instance of the registered class if there is one.
PyObject * wrapOwned(void * pointer, swig_type_info * type);

/// Raises a wrapped object, which is taken over, as the class registered for its type, or as RuntimeError.
void raiseWrapped(PyObject * object, swig_type_info * type);

/// The type table's entry for zarnik::Error *.
swig_type_info * errorType();

/// The view of a wrapped image view, or null when the object is none.
std::shared_ptr<ImageView> wrappedImageView(PyObject * object);

/// The object of a method held by value, `self`; null with the method's error pending when it is none.
void * readSelf(PyObject * object, swig_type_info * type, int disown, char const * method, char const * typeText);

/// The result of an in-place operator: a new wrapped object of the same `pointer` as `self`, which has just been
/// disowned, that owns it. The old object refers to the new one, so that it stays valid as long as it is held; and an
/// object that was handed over before is not handed over again, the result then refers to the old one.
PyObject * handOver(PyObject * self, void * pointer, swig_type_info * type);

/// Empties and disowns a wrapped object whose content was just destroyed, so that no later use can reach it.
void forgetPointer(PyObject * object);

/// Whether a wrapper's name is that of a destructor.
constexpr bool isDestructor(char const * name) {
  constexpr char prefix[] = "delete_";
  for (std::size_t i = 0; i + 1 < sizeof(prefix); ++i)
    if (name[i] != prefix[i])
      return false;
  return true;
}

} // namespace zarnik::python
