#pragma once

#include "module/Buffers.h"
#include "module/Holders.h"
#include "module/Python.h"
#include "module/Reference.h"
#include "zarnik/values/RegionX.h"

#include <memory>

namespace zarnik {
class ImageView;
} // namespace zarnik

namespace zarnik::python {

// The objects of the flat module, through the table of types that all such modules of a process share.

/// Finds the table; false with ImportError pending when the flat module's types are not in it.
bool joinTypeTable();

/// A type by its name as the flat module's messages have it, such as "zarnik::RegionX< uint64_t > *"; null if there is
/// none. Types are never removed, so callers may keep what they found.
swig_type_info * findType(char const * name);

/// The class that is registered for a type, not shared; null if there is none.
PyObject * classOf(swig_type_info * type);

/// A new instance of the class registered for a type, which owns the pointer; null with an error pending, and the
/// pointer left to the caller, when it cannot be made.
PyObject * wrapOwned(void * pointer, swig_type_info * type);

/// The shared pointer to T that a wrapped object holds, empty when it is no such object.
/// \param type  that of std::shared_ptr< T > *
template <typename T> std::shared_ptr<T> sharedPointer(PyObject * object, swig_type_info * type) {
  void * pointer = nullptr;
  int owned = 0;
  convertPointer(object, &pointer, type, 0, &owned);
  auto * const held = static_cast<std::shared_ptr<T> *>(pointer);
  if (!held)
    return nullptr;
  auto shared = *held;
  // A conversion from a derived class made a pointer of its own: the generator's flag for that.
  if (constexpr int newMemory = 2; owned & newMemory)
    delete held;
  return shared;
}

/// Makes TypeError pending. \param what  what an argument should be, with its article \throws PendingError
[[noreturn]] void refuse(PyObject * object, char const * what);

/// The bytes of a contiguous bytes-like object, which is held. \throws PendingError as `refuse` when it is none
Buffer<void const> readableBuffer(PyObject * object);

/// The shared pointer to T that a wrapped object holds. \throws PendingError as `refuse` when it is no such object
template <typename T> std::shared_ptr<T> requiredPointer(PyObject * object, swig_type_info * type, char const * what) {
  auto shared = type ? sharedPointer<T>(object, type) : nullptr;
  if (!shared)
    refuse(object, what);
  return shared;
}

/// The object of a wrapped class that is no shared pointer. \throws PendingError as `refuse` when it is none
template <typename T> T const & requiredValue(PyObject * object, swig_type_info * type, char const * what) {
  auto const * const value = wrappedPointer(object, type);
  if (!value)
    refuse(object, what);
  return *static_cast<T const *>(value);
}

/// A new object of the class registered for T, which shares what the pointer points to; None for an empty pointer, null
/// with an error pending when it cannot be made.
template <typename T> PyObject * wrapShared(std::shared_ptr<T> pointer, swig_type_info * type) {
  if (!pointer)
    return Reference::share(Py_None).release();
  auto held = std::make_unique<std::shared_ptr<T>>(std::move(pointer));
  auto * const object = wrapOwned(held.get(), type);
  if (object)
    held.release();
  return object;
}

/// The view of a wrapped ImageView. \throws PendingError with TypeError pending when the object is none
std::shared_ptr<ImageView> viewOf(PyObject * object);

/// The region of a wrapped RegionXu64. \throws PendingError with TypeError pending when the object is none
RegionXu64 const & regionOf(PyObject * object);

} // namespace zarnik::python
