// What hand-written code needs of the generator's runtime, see module/Runtime.h.
%header %{
// A null reference is an error of the value, not of the type: the wrappers raise ValueError for it.
#undef SWIG_NullReferenceError
#define SWIG_NullReferenceError SWIG_ValueError

#include <string_view>

#include "module/Conversions.h"
#include "module/Errors.h"
#include "module/Holders.h"
#include "module/Runtime.h"

namespace zarnik::python {

#undef SWIG_ConvertPtr
#define SWIG_ConvertPtr(object, pointer, type, flags)                                                                  \
  zarnik::python::convertPointer(object, pointer, type, flags, nullptr)
#undef SWIG_ConvertPtrAndOwn
#define SWIG_ConvertPtrAndOwn(object, pointer, type, flags, owned)                                                     \
  zarnik::python::convertPointer(object, pointer, type, flags, owned)

PyObject *wrapOwned(void *pointer, swig_type_info *type) { return SWIG_NewPointerObj(pointer, type, SWIG_POINTER_OWN); }

void raiseWrapped(PyObject *object, swig_type_info *type) { SWIG_Python_Raise(object, "", type); }

swig_type_info *errorType() { return SWIGTYPE_p_zarnik__Error; }

static void raiseForSelf(int status, char const *method, char const *typeText) {
  if (status == SWIG_ERROR_RELEASE_NOT_OWNED)
    PyErr_Format(SWIG_Python_ErrorType(status),
                 "in method '%s', cannot release ownership as memory is not owned for argument 1 of type '%s'", method,
                 typeText);
  else if (!SWIG_IsOK(status))
    PyErr_Format(SWIG_Python_ErrorType(SWIG_ArgError(status)), "in method '%s', argument 1 of type '%s'", method,
                 typeText);
  else
    PyErr_Format(PyExc_ValueError, "invalid null reference in method '%s', argument 1 of type '%s'", method, typeText);
}

void *readSelf(PyObject *object, swig_type_info *type, int disown, char const *method, char const *typeText) {
  void *pointer = nullptr;
  auto const status = SWIG_ConvertPtr(object, &pointer, type, isDestructor(method) ? SWIG_POINTER_RELEASE : disown);
  if (SWIG_IsOK(status) && pointer)
    return pointer;
  raiseForSelf(status, method, typeText);
  return nullptr;
}

// The shared pointer that an object holds, as one of the given type or one derived from it.
template <typename T>
bool shareSelf(PyObject *object, swig_type_info *type, char const *method, char const *typeText,
               std::shared_ptr<T> &shared) {
  void *pointer = nullptr;
  int ownership = 0;
  auto const status = SWIG_ConvertPtrAndOwn(object, &pointer, type, 0, &ownership);
  if (auto *const held = static_cast<std::shared_ptr<T> *>(pointer); SWIG_IsOK(status) && held) {
    shared = *held;
    if (ownership & SWIG_CAST_NEW_MEMORY)
      delete held;
  }
  if (!shared)
    raiseForSelf(status, method, typeText);
  return shared != nullptr;
}

// Takes the shared pointer from an object that a destructor gets. That of a derived type is destroyed like one of the
// type itself: what it points to knows how to be destroyed. An object that merely converts to the type is none.
static void *releaseSelf(PyObject *object, swig_type_info *type, char const *method, char const *typeText) {
  auto const *const holder = reinterpret_cast<SwigPyObject *>(object == Py_None ? nullptr : holderOf(object));
  if (holder && holder->ty && holder->ty != type && SWIG_TypeCheck(holder->ty->name, type)) {
    if (!std::string_view(holder->ty->name).starts_with("_p_std__shared_ptrT_")) {
      raiseForSelf(SWIG_TypeError, method, typeText);
      return nullptr;
    }
    type = holder->ty;
  }
  return readSelf(object, type, 0, method, typeText);
}

void forgetPointer(PyObject *object) {
  // After a failure nothing was destroyed, and looking into the object would lose the error.
  if (PyErr_Occurred())
    return;
  void *pointer = nullptr;
  SWIG_ConvertPtr(object, &pointer, nullptr, SWIG_POINTER_CLEAR | SWIG_POINTER_DISOWN);
}

PyObject *handOver(PyObject *self, void *pointer, swig_type_info *type) {
  auto *const before = SWIG_Python_GetSwigThis(self);
  if (auto *const owner = reinterpret_cast<SwigPyObject *>(before->next); owner && !owner->ptr)
    Reference::steal(std::exchange(before->next, nullptr));
  bool const isFirst = !before->next;
  auto result = Reference::steal(SWIG_NewPointerObj(pointer, type, isFirst ? SWIG_POINTER_OWN : 0));
  if (!result)
    return nullptr;
  auto *const after = SWIG_Python_GetSwigThis(result.get());
  if (!isFirst) {
    // A second owner would free the object again.
    after->next = Reference::share(before->next).release();
  } else if (reinterpret_cast<PyObject *>(before) == self || reinterpret_cast<PyObject *>(after) == result.get()) {
    before->next = Reference::share(reinterpret_cast<PyObject *>(after)).release();
  } else {
    // Both are instances of classes: they exchange what they wrap, so that the owner is the same all the time. A
    // chain of former owners would grow with each operation, and be freed by a recursion as deep.
    auto const owner = Reference::share(reinterpret_cast<PyObject *>(before));
    auto const former = Reference::share(reinterpret_cast<PyObject *>(after));
    std::swap(before->own, after->own);
    after->next = Reference(owner).release();
    if (SWIG_Python_SetSwigThis(self, former.get()) != 0 || SWIG_Python_SetSwigThis(result.get(), owner.get()) != 0)
      return nullptr;
  }
  return result.release();
}

// Gives a new instance what it wraps. The runtime asks the instance first whether it wraps something already, by an
// exception in all cases but a second call of __init__; here its dictionary is asked.
inline PyObject *initShadowInstance(PyObject *arguments) {
  if (!PyTuple_Check(arguments) || PyTuple_Size(arguments) != 2)
    return SWIG_Python_InitShadowInstance(arguments);
  auto *const self = PyTuple_GetItem(arguments, 0);
  // A list of holders that contains itself has no end.
  if (self == PyTuple_GetItem(arguments, 1))
    return SWIG_Py_Void();
  auto const attributes = Reference::steal(PyObject_GetAttrString(self, "__dict__"));
  if (!attributes || !PyDict_Check(attributes.get()) || PyDict_GetItemWithError(attributes.get(), SWIG_This())) {
    PyErr_Clear();
    return SWIG_Python_InitShadowInstance(arguments);
  }
  if (SWIG_Python_SetSwigThis(self, PyTuple_GetItem(arguments, 1)) != 0)
    return nullptr;
  return SWIG_Py_Void();
}
#define SWIG_Python_InitShadowInstance zarnik::python::initShadowInstance

// The dispatcher of an overloaded operator gives NotImplemented for a wrong number of arguments, too, but forgets to
// take back the error.
inline Py_ssize_t unpackArguments(PyObject *arguments, char const *wrapper, Py_ssize_t least, Py_ssize_t most,
                                  PyObject **unpacked) {
  auto const count = SWIG_Python_UnpackTuple(arguments, wrapper, least, most, unpacked);
  if (!count && isOperator(wrapper) && !isInPlaceOperator(wrapper) && PyErr_ExceptionMatches(PyExc_TypeError))
    PyErr_Clear();
  return count;
}
#define SWIG_Python_UnpackTuple zarnik::python::unpackArguments

} // namespace zarnik::python
%}

%init %{
  zarnik::python::setHolderType(SwigPyObject_type());
%}
