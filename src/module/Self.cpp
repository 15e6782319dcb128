#include "module/Self.h"

#include "module/Exports.h"
#include "module/Reference.h"

#include <swigpyrun.h>

#include <string_view>
#include <utility>

namespace zarnik::python {

namespace {

// See Holders.cpp.
enum Ownership : int { LENT = 0, OWNED = SWIG_POINTER_OWN, DISOWNED = 0x100, HANDED_OVER = 0x200 };

SwigPyObject * asHolder(PyObject * object) { return reinterpret_cast<SwigPyObject *>(object); }
PyObject * asObject(SwigPyObject * holder) { return reinterpret_cast<PyObject *>(holder); }

} // namespace

bool readSelf(PyObject * object, swig_type_info * type, int disown, char const * method, char const * typeText,
              void *& pointer, Pin & pin) {
  bool const destroys = isDestructor(method);
  auto const status = convertPointer(object, &pointer, type, destroys ? SWIG_POINTER_RELEASE : disown, nullptr);
  if (!SWIG_IsOK(status) || !pointer) {
    raiseForSelf(status, method, typeText);
    return false;
  }
  if (!destroys) {
    pin.hold(pointer);
    return true;
  }
  if (Pin::isHeld(pointer) || Exports::has(pointer)) {
    auto owner = Reference::steal(holdOwned(pointer, type));
    if (!owner)
      return false;
    if (Pin::isHeld(pointer))
      Pin::leave(pointer, std::move(owner));
    else
      Exports::leave(pointer, std::move(owner));
    pointer = nullptr;
  }
  return true;
}

void raiseForSelf(int status, char const * method, char const * typeText) {
  if (status == SWIG_ERROR_RELEASE_NOT_OWNED) {
    PyErr_Format(PyExc_RuntimeError,
                 "in method '%s', cannot release ownership as memory is not owned for argument 1 of type '%s'", method,
                 typeText);
  } else if (!SWIG_IsOK(status)) {
    PyErr_Format(PyExc_TypeError, "in method '%s', argument 1 of type '%s'", method, typeText);
  } else {
    PyErr_Format(PyExc_ValueError, "invalid null reference in method '%s', argument 1 of type '%s'", method, typeText);
  }
}

void * releaseSelf(PyObject * object, swig_type_info * type, char const * method, char const * typeText) {
  auto const * const holder = object == Py_None ? nullptr : asHolder(holderOf(object));
  if (holder && holder->ty && holder->ty != type && SWIG_TypeCheck(holder->ty->name, type)) {
    if (!std::string_view(holder->ty->name).starts_with("_p_std__shared_ptrT_")) {
      raiseForSelf(SWIG_TypeError, method, typeText);
      return nullptr;
    }
    type = holder->ty;
  }
  void * pointer = nullptr;
  auto const status = convertPointer(object, &pointer, type, SWIG_POINTER_RELEASE, nullptr);
  if (SWIG_IsOK(status) && pointer)
    return pointer;
  raiseForSelf(status, method, typeText);
  return nullptr;
}

void forgetPointer(PyObject * object) {
  // After a failure nothing was destroyed, and looking into the object would lose the error.
  if (!PyErr_Occurred())
    convertPointer(object, nullptr, nullptr, SWIG_POINTER_CLEAR | SWIG_POINTER_DISOWN, nullptr);
}

void disown(PyObject * object) { convertPointer(object, nullptr, nullptr, SWIG_POINTER_DISOWN, nullptr); }

PyObject * handOver(PyObject * self, void * pointer, swig_type_info * type) {
  auto * const before = asHolder(holderOf(self));
  auto * const owner = asHolder(finalHolder(asObject(before)));
  bool const isOwned = owner->own == DISOWNED;
  auto result = Reference::steal(wrapLent(pointer, type));
  if (!result)
    return nullptr;
  auto * const after = asHolder(holderOf(result.get()));
  if (asObject(before) == self || asObject(after) == result.get()) {
    // A bare holder cannot change hands: it refers to a new owner.
    after->own = isOwned ? OWNED : LENT;
    after->next = std::exchange(owner->next, Reference::share(asObject(after)).release());
    owner->own = HANDED_OVER;
    return result.release();
  }
  // Both are instances of classes: they exchange what they wrap, so that the owner is the same all the time. A chain of
  // former owners would grow with each operation, and be freed by a recursion as deep.
  auto const former = Reference::share(asObject(after));
  if (!setHolder(result.get(), asObject(owner)) || !setHolder(self, former.get()))
    return nullptr;
  owner->own = isOwned ? OWNED : LENT;
  after->own = HANDED_OVER;
  after->next = Reference::share(asObject(owner)).release();
  return result.release();
}

namespace {

// Adds a holder, with those that it leads, behind another one. A ring would have no end.
bool append(SwigPyObject * holder, SwigPyObject * added) {
  for (auto * other = holder; other; other = asHolder(other->next))
    if (other == added)
      return true;
  auto * last = added;
  for (; last->next; last = asHolder(last->next)) {
    if (asHolder(last->next) == holder) {
      PyErr_SetString(PyExc_ValueError, "a list of wrapped objects cannot contain itself");
      return false;
    }
  }
  last->next = std::exchange(holder->next, Reference::share(asObject(added)).release());
  return true;
}

PyObject * appendMethod(PyObject * self, PyObject * added) {
  if (!isHolder(added)) {
    PyErr_SetString(PyExc_TypeError, "Attempt to append a non SwigPyObject");
    return nullptr;
  }
  return append(asHolder(self), asHolder(added)) ? Reference::share(Py_None).release() : nullptr;
}

void setOwned(SwigPyObject * holder, bool isOwned) {
  // What the library owns stays its own, and what was handed over has its owner.
  if (isOwned && holder->own == DISOWNED && holder->ptr)
    holder->own = OWNED;
  else if (!isOwned && holder->own == OWNED)
    holder->own = DISOWNED;
}

PyObject * acquireMethod(PyObject * self, PyObject *) {
  setOwned(asHolder(self), true);
  return Reference::share(Py_None).release();
}

PyObject * disownMethod(PyObject * self, PyObject *) {
  setOwned(asHolder(self), false);
  return Reference::share(Py_None).release();
}

PyObject * ownMethod(PyObject * self, PyObject * arguments) {
  PyObject * value = nullptr;
  if (!PyArg_UnpackTuple(arguments, "own", 0, 1, &value))
    return nullptr;
  bool const isOwned = asHolder(self)->own == OWNED;
  auto const wanted = value ? PyObject_IsTrue(value) : -1;
  if (value && wanted < 0)
    return nullptr;
  if (value)
    setOwned(asHolder(self), wanted != 0);
  return PyBool_FromLong(isOwned);
}

} // namespace

void guardHolderMethods(PyMethodDef * methods) {
  for (auto * method = methods; method->ml_name; ++method) {
    std::string_view const name = method->ml_name;
    if (name == "append")
      method->ml_meth = appendMethod;
    else if (name == "acquire")
      method->ml_meth = acquireMethod;
    else if (name == "disown")
      method->ml_meth = disownMethod;
    else if (name == "own")
      method->ml_meth = ownMethod;
  }
}

PyObject * initShadowInstance(PyObject * arguments) {
  PyObject * self = nullptr;
  PyObject * held = nullptr;
  if (!PyArg_UnpackTuple(arguments, "swiginit", 2, 2, &self, &held))
    return nullptr;
  // The instance's dictionary is asked whether it wraps something already: asking the instance would cost an exception
  // in all cases but a second call of __init__.
  auto const attributes = Reference::steal(PyObject_GetAttrString(self, "__dict__"));
  bool const isNew = attributes && PyDict_Check(attributes.get()) && !hasHolder(attributes.get());
  PyErr_Clear();
  auto * const before = isNew ? nullptr : holderOf(self);
  if (!before)
    return setHolder(self, held) ? Reference::share(Py_None).release() : nullptr;
  if (before == held)
    return Reference::share(Py_None).release();
  return appendMethod(before, held);
}

} // namespace zarnik::python
