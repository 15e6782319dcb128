// What an image holds is out of sight of Python's collector of cycles. For an image that can become an attribute of its
// own array, the package keeps an object beside the image that shows the collector what the image holds.

#include "direct/Functions.h"
#include "direct/TypeTable.h"
#include "module/Holders.h"
#include "module/NumpyApi.h"
#include "module/Reference.h"
#include "module/TypeCreation.h"
#include "zarnik/views/BorrowedMemoryView.h"

#include <memory>

namespace zarnik::python {

namespace {

struct Witness {
  PyObject head;
  PyObject * holder; // of the image's pointer
  PyObject * array;  // held by the image's memory, not by the witness
};

swig_type_info * imageType() {
  static auto * const type = findType("std::shared_ptr< zarnik::ImageView > *");
  return type;
}

/// The array, if it goes with the object that the witness is kept with: whatever else holds the image or its memory may
/// use the array, which loses what it has when it is collected. The interpreter's lock is held: nobody can be given the
/// image meanwhile.
PyObject * heldByObjectAlone(Witness const & witness) {
  void * pointer = nullptr;
  int owned = 0;
  constexpr Py_ssize_t objectAndWitness = 2;
  if (Py_REFCNT(witness.holder) != objectAndWitness ||
      convertPointer(witness.holder, &pointer, imageType(), 0, &owned) != 0 || !pointer || !owned)
    return nullptr;
  auto const & image = *static_cast<std::shared_ptr<ImageView> const *>(pointer);
  auto const * const borrowed = dynamic_cast<BorrowedMemoryView const *>(image.get());
  return image.use_count() == 1 && borrowed && borrowed->owner().use_count() == 1 ? witness.array : nullptr;
}

PyObject * baseOf(PyObject * array) {
  return PyArray_Check(array) ? PyArray_BASE(reinterpret_cast<PyArrayObject *>(array)) : nullptr;
}

int traverse(PyObject * object, visitproc visit, void * arg) {
  Py_VISIT(Py_TYPE(object));
  Py_VISIT(reinterpret_cast<Witness *>(object)->holder);
  auto * array = heldByObjectAlone(*reinterpret_cast<Witness *>(object));
  Py_VISIT(array);
  // NumPy's arrays do not show the collector whose memory they are parts of either.
  while (array && Py_REFCNT(array) == 1) {
    array = baseOf(array);
    Py_VISIT(array);
  }
  return 0;
}

void destroy(PyObject * object) {
  auto * const type = Py_TYPE(object);
  PyObject_GC_UnTrack(object);
  Py_DECREF(reinterpret_cast<Witness *>(object)->holder);
  PyObject_GC_Del(object);
  Py_DECREF(type);
}

PyTypeObject * witnessType() {
  static PyType_Slot slots[] = {{Py_tp_traverse, reinterpret_cast<void *>(traverse)},
                                {Py_tp_dealloc, reinterpret_cast<void *>(destroy)},
                                {0, nullptr}};
  static PyType_Spec spec = {"zarnik._direct.Witness", sizeof(Witness), 0, Py_TPFLAGS_DEFAULT | Py_TPFLAGS_HAVE_GC,
                             slots};
  static auto * const type = reinterpret_cast<PyTypeObject *>(createType(&spec));
  return type;
}

PyObject * witnessArray(PyObject *, PyObject * arguments) {
  return guarded([&]() -> PyObject * {
    auto const [image, array] = unpacked<2>(arguments, "witness_array");
    auto * const type = witnessType();
    // The collector must not meet a pointer that has to be converted, which takes memory.
    void * pointer = nullptr;
    int owned = 0;
    convertPointer(image, &pointer, imageType(), 0, &owned);
    if (!pointer || isNewMemory(owned))
      refuse(image, "an ImageView");
    auto * const witness = type ? PyObject_GC_New(Witness, type) : nullptr;
    if (!witness)
      return nullptr;
    witness->holder = Reference::share(holderOf(image)).release();
    witness->array = array;
    PyObject_GC_Track(reinterpret_cast<PyObject *>(witness));
    return reinterpret_cast<PyObject *>(witness);
  });
}

PyMethodDef methods[] = {{"witness_array", witnessArray, METH_VARARGS,
                          "Return an object, to be kept with an image over an array, that shows the array to Python's "
                          "collector of cycles for as long as nothing else holds the image or its memory."},
                         {}};
DirectFunctions const registered(methods);

} // namespace

} // namespace zarnik::python
