#include "direct/TypeTable.h"

#include "direct/Functions.h"

#include <swigpyrun.h>

namespace zarnik::python {

namespace {

swig_module_info * table = nullptr;
PyObject * capsule = nullptr;
PyTypeObject * holderType = nullptr;

struct Types {
  swig_type_info * view = findType("std::shared_ptr< zarnik::ImageView > *");
  swig_type_info * region = findType("zarnik::RegionX< uint64_t > *");
};
Types const & types() {
  static Types const found;
  return found;
}

} // namespace

bool joinTypeTable() {
  // The capsule is what holders that own something keep alive.
  auto const owner = Reference::steal(PyImport_ImportModule("swig_runtime_data" SWIG_RUNTIME_VERSION));
  auto held = owner ? Reference::steal(PyObject_GetAttrString(owner.get(), SWIGPY_CAPSULE_ATTR_NAME)) : Reference();
  if (!held)
    return false;
  table = static_cast<swig_module_info *>(PyCapsule_GetPointer(held.get(), SWIGPY_CAPSULE_NAME));
  if (!table)
    return false;
  capsule = held.release();

  auto const flat = Reference::steal(PyImport_ImportModule("_zarnik"));
  auto const example =
      flat ? Reference::steal(PyObject_CallMethod(flat.get(), "new_VersionInfo", nullptr)) : Reference();
  if (!example)
    return false;
  // Before the package registers its classes it is the holder itself.
  auto const attribute = Reference::steal(PyObject_GetAttrString(example.get(), "this"));
  PyErr_Clear();
  holderType = Py_TYPE(attribute ? attribute.get() : example.get());
  Py_INCREF(holderType);
  setHolderType(holderType);
  if (types().view && types().region)
    return true;
  PyErr_SetString(PyExc_ImportError, "the types of _zarnik are not in the table of types that zarnik._direct found");
  return false;
}

swig_type_info * findType(char const * name) { return SWIG_TypeQueryModule(table, table, name); }

PyObject * classOf(swig_type_info * type) {
  auto const * const data = type ? static_cast<SwigPyClientData *>(type->clientdata) : nullptr;
  return data ? data->klass : nullptr;
}

PyObject * wrapOwned(void * pointer, swig_type_info * type) {
  auto * const kind = classOf(type);
  if (!kind) {
    PyErr_SetString(PyExc_TypeError, "no class is registered for the result");
    return nullptr;
  }
  auto const create = reinterpret_cast<newfunc>(PyType_GetSlot(reinterpret_cast<PyTypeObject *>(kind), Py_tp_new));
  auto const noArguments = Reference::steal(PyTuple_New(0));
  auto instance = noArguments && create
                      ? Reference::steal(create(reinterpret_cast<PyTypeObject *>(kind), noArguments.get(), nullptr))
                      : Reference();
  auto * const holder = instance ? PyObject_New(SwigPyObject, holderType) : nullptr;
  if (!holder)
    return nullptr;
  holder->ptr = pointer;
  holder->ty = type;
  holder->own = 0;
  holder->next = nullptr;
  auto const held = Reference::steal(reinterpret_cast<PyObject *>(holder));
  auto const name = Reference::steal(PyUnicode_InternFromString("this"));
  if (!name || PyObject_GenericSetAttr(instance.get(), name.get(), held.get()) != 0)
    return nullptr;
  // What owns something keeps the table, as the flat module's own holders do.
  holder->own = SWIG_POINTER_OWN;
  Py_INCREF(capsule);
  return instance.release();
}

void refuse(PyObject * object, char const * what) {
  PyErr_Format(PyExc_TypeError, "%s is needed, got %R", what, object);
  throw PendingError();
}

Buffer<void const> readableBuffer(PyObject * object) {
  Buffer<void const> buffer;
  if (!readReadableBuffer(object, buffer))
    refuse(object, "a contiguous bytes-like object");
  return buffer;
}

std::shared_ptr<ImageView> viewOf(PyObject * object) {
  return requiredPointer<ImageView>(object, types().view, "an ImageView");
}

RegionXu64 const & regionOf(PyObject * object) {
  return requiredValue<RegionXu64>(object, types().region, "a RegionXu64");
}

} // namespace zarnik::python
