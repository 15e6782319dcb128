#include "module/Holders.h"

#include "module/Reference.h"

#include <swigpyrun.h>

#include <vector>

namespace zarnik::python {

namespace {

PyObject * nameOfThis() {
  static auto * const name = PyUnicode_InternFromString("this");
  return name;
}

// The generator's code for what this module raises ValueError for.
constexpr int NULL_REFERENCE = -9;

PyTypeObject * commonHolderType = nullptr;

// Those of other modules, each kept alive. Never destroyed: the interpreter ends before the static objects do.
std::vector<Reference> & otherHolderTypes() {
  static auto & types = *new std::vector<Reference>;
  return types;
}

bool hasAttribute(PyObject * object, char const * name, PyObject * value) {
  return Reference::steal(PyObject_GetAttrString(object, name)).get() == value;
}

// A class may have any name. One that a module made has methods of its own, and the size of a holder.
bool looksLikeHolderType(PyObject * type) {
  auto const name = Reference::steal(PyObject_GetAttrString(type, "__name__"));
  if (!name || !PyUnicode_Check(name.get()) || PyUnicode_CompareWithASCIIString(name.get(), "SwigPyObject") != 0)
    return false;
  auto const own = Reference::steal(PyObject_GetAttrString(type, "own"));
  if (!own || Py_TYPE(own.get()) != &PyMethodDescr_Type || !hasAttribute(own.get(), "__objclass__", type))
    return false;
  auto const size = Reference::steal(PyObject_GetAttrString(type, "__basicsize__"));
  return size && PyLong_AsSize_t(size.get()) == sizeof(SwigPyObject);
}

bool isHolderType(PyTypeObject * type) {
  if (type == commonHolderType)
    return true;
  auto * const object = reinterpret_cast<PyObject *>(type);
  for (auto const & known : otherHolderTypes())
    if (known.get() == object)
      return true;
  bool const isHolder = looksLikeHolderType(object);
  PyErr_Clear();
  if (isHolder)
    otherHolderTypes().push_back(Reference::share(object));
  return isHolder;
}

// What the generator's own code takes for an owner is the second; the others are told apart here only. One that was
// handed over stands for the holder behind it.
enum Ownership : int { LENT = 0, OWNED = SWIG_POINTER_OWN, DISOWNED = 0x100, HANDED_OVER = 0x200 };

SwigPyObject * final(SwigPyObject * holder) {
  while (holder->own == HANDED_OVER && holder->next)
    holder = reinterpret_cast<SwigPyObject *>(holder->next);
  return holder;
}

// The first of a list of holders that has a pointer of the type, or one to be converted to it.
SwigPyObject * findHolder(SwigPyObject * holder, swig_type_info * type, swig_cast_info *& cast) {
  for (; holder; holder = reinterpret_cast<SwigPyObject *>(holder->next)) {
    holder = final(holder);
    // One that nobody filled has no type.
    if (!holder->ty)
      continue;
    if (!type || holder->ty == type)
      return holder;
    cast = SWIG_TypeCheck(holder->ty->name, type);
    if (cast)
      return holder;
  }
  return nullptr;
}

} // namespace

void setHolderType(PyTypeObject * type) { commonHolderType = type; }

// The attribute of an attribute is not followed: that may never end.
PyObject * holderOf(PyObject * object) {
  // One that is being freed has no references left: none must be added to it.
  if (Py_TYPE(object) == commonHolderType || Py_REFCNT(object) == 0)
    return object;
  // The usual plain objects need no search for an attribute, which costs an exception.
  if (PyList_CheckExact(object) || PyTuple_CheckExact(object) || PyLong_CheckExact(object) ||
      PyFloat_CheckExact(object) || PyUnicode_CheckExact(object))
    return nullptr;
  auto const attribute = Reference::steal(PyObject_GetAttr(object, nameOfThis()));
  auto * const candidate = attribute ? attribute.get() : object;
  if (!attribute)
    PyErr_Clear();
  if (!isHolderType(Py_TYPE(candidate)))
    return nullptr;
  // A holder that the object made just now would be gone before it is used.
  return attribute && Py_REFCNT(candidate) == 1 ? nullptr : candidate;
}

bool isHolder(PyObject * object) { return isHolderType(Py_TYPE(object)); }

PyObject * finalHolder(PyObject * holder) {
  return reinterpret_cast<PyObject *>(final(reinterpret_cast<SwigPyObject *>(holder)));
}

bool setHolder(PyObject * instance, PyObject * holder) {
  // A class, given in place of an instance, knows who remembers its attributes, and may be Python's own.
  auto * const set = PyType_Check(instance) ? PyObject_SetAttr : PyObject_GenericSetAttr;
  return set(instance, nameOfThis(), holder) == 0;
}

bool hasHolder(PyObject * attributes) { return PyDict_GetItemWithError(attributes, nameOfThis()) != nullptr; }

bool isWrapped(PyObject * object) { return holderOf(object) != nullptr; }

int convertPointer(PyObject * object, void ** pointer, swig_type_info * type, int flags, int * owned) {
  if (owned)
    *owned = 0;
  if (!object)
    return SWIG_ERROR;
  if (object == Py_None) {
    if (pointer)
      *pointer = nullptr;
    return flags & SWIG_POINTER_NO_NULL ? NULL_REFERENCE : SWIG_OK;
  }
  auto * const first = reinterpret_cast<SwigPyObject *>(holderOf(object));
  if (!first)
    PyErr_Clear(); // of a conversion tried before
  swig_cast_info * cast = nullptr;
  auto * const holder = findHolder(first, type, cast);
  if (!holder)
    return SWIG_ERROR;
  if ((flags & SWIG_POINTER_RELEASE) == SWIG_POINTER_RELEASE && holder->own != OWNED)
    return SWIG_ERROR_RELEASE_NOT_OWNED;
  if (pointer) {
    int newMemory = 0;
    // What was destroyed has no pointer left that a conversion could follow.
    *pointer = cast && holder->ptr ? SWIG_TypeCast(cast, holder->ptr, &newMemory) : holder->ptr;
    if (owned && newMemory == SWIG_CAST_NEW_MEMORY)
      *owned |= SWIG_CAST_NEW_MEMORY;
  }
  if (owned && holder->own == OWNED)
    *owned |= SWIG_POINTER_OWN;
  if (flags & SWIG_POINTER_DISOWN && holder->own == OWNED)
    holder->own = DISOWNED;
  if (flags & SWIG_POINTER_CLEAR)
    holder->ptr = nullptr;
  return SWIG_OK;
}

void * wrappedPointer(PyObject * object, swig_type_info * type) {
  void * pointer = nullptr;
  return SWIG_IsOK(convertPointer(object, &pointer, type, 0, nullptr)) ? pointer : nullptr;
}

} // namespace zarnik::python
