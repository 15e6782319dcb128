#pragma once

#include "module/Holders.h"
#include "module/Pins.h"

#include <cstddef>
#include <memory>

namespace zarnik::python {

/// Whether a wrapper's name is that of a destructor.
constexpr bool isDestructor(char const * name) {
  constexpr char prefix[] = "delete_";
  for (std::size_t i = 0; i + 1 < sizeof(prefix); ++i)
    if (name[i] != prefix[i])
      return false;
  return true;
}

/// The object of a method held by value, `self`, pinned for the call; false with the method's error pending when it is
/// none. A destructor gets what it has to delete, null when somebody uses it: it is deleted then after the last use.
/// \param disown  the generator's flag if the result owns it
bool readSelf(PyObject * object, swig_type_info * type, int disown, char const * method, char const * typeText,
              void *& pointer, Pin & pin);

/// Raises what a method raises for a self that is none, by the status of its conversion.
void raiseForSelf(int status, char const * method, char const * typeText);

/// The shared pointer that an object holds, as one of the given type or one derived from it; false with the method's
/// error pending when there is none.
template <typename T> bool shareSelf(PyObject * object, swig_type_info * type, char const * method,
                                     char const * typeText, std::shared_ptr<T> & shared) {
  void * pointer = nullptr;
  int owned = 0;
  auto const status = convertPointer(object, &pointer, type, 0, &owned);
  if (auto * const held = static_cast<std::shared_ptr<T> *>(pointer)) {
    shared = *held;
    if (isNewMemory(owned))
      delete held;
  }
  if (!shared)
    raiseForSelf(status, method, typeText);
  return shared != nullptr;
}

/// Takes the shared pointer from an object that a destructor gets; null with the method's error pending when there is
/// none. That of a derived type is destroyed like one of the type itself: what it points to knows how to be destroyed.
/// An object that merely converts to the type is none.
void * releaseSelf(PyObject * object, swig_type_info * type, char const * method, char const * typeText);

/// Empties and disowns a wrapped object whose content was just destroyed, so that no later use can reach it.
void forgetPointer(PyObject * object);

/// Leaves what a wrapped object holds without an owner.
void disown(PyObject * object);

/// The result of an in-place operator: a new wrapped object of the same `pointer` as `self`, which has just been
/// disowned, that owns it if `self` did. Whoever holds the old object goes by way of the new one from now on, so that
/// destroying either leaves both empty, and nothing is freed twice.
PyObject * handOver(PyObject * self, void * pointer, swig_type_info * type);

/// Gives a new instance what it wraps. One that wraps something already gets it in addition.
PyObject * initShadowInstance(PyObject * arguments);

/// Replaces, in the run-time's list of them, the methods of holders that could make rings, or give Python what is not
/// its own.
void guardHolderMethods(PyMethodDef * methods);

/// A wrapped object that owns nothing, an instance of the registered class if there is one. Defined by the generated
/// file.
PyObject * wrapLent(void * pointer, swig_type_info * type);

/// A bare object that owns a pointer. Defined by the generated file.
PyObject * holdOwned(void * pointer, swig_type_info * type);

} // namespace zarnik::python
