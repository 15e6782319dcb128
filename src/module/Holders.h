#pragma once

#include "module/Python.h"

namespace zarnik::python {

// The generator's run-time has one type of Python objects that hold C++ pointers, and instances of the generated
// classes have one as their attribute `this`. Every module that joins the shared table of types reads them; what is
// here needs nothing of a module's own copy of the run-time.

/// The type of the holders that this module makes, or meets most; to be told once, before the first conversion.
void setHolderType(PyTypeObject * type);

/// The holder of a wrapped pointer: the object itself, or what an instance of a class has as its attribute `this`; not
/// shared, and null for all other objects.
PyObject * holderOf(PyObject * object);

/// Whether the object is a holder itself.
bool isHolder(PyObject * object);

/// The holder that stands for a holder since an in-place operator handed its pointer over; itself for all others.
PyObject * finalHolder(PyObject * holder);

/// Makes a holder the attribute `this` of an instance; false with an error pending when that fails.
bool setHolder(PyObject * instance, PyObject * holder);

/// Whether there is an attribute `this` in an instance's dictionary.
bool hasHolder(PyObject * attributes);

/// Whether the object is a holder, or an instance of a class that has one.
bool isWrapped(PyObject * object);

/// Converts as the generator's run-time does, with the same flags and results, but takes only real holders, does not
/// compare names of classes where the type decides, and gives a null pointer for objects that were destroyed.
int convertPointer(PyObject * object, void ** pointer, swig_type_info * type, int flags, int * owned);

/// Whether a conversion made a shared pointer of its own, by what convertPointer says of ownership.
constexpr bool isNewMemory(int owned) { return (owned & 2) != 0; }

/// The pointer held by a wrapped object of the given type or one derived from it; null when it is no such object.
void * wrappedPointer(PyObject * object, swig_type_info * type);

} // namespace zarnik::python
