#pragma once

#include "module/Python.h"

namespace zarnik::python {

// A class that is registered says how its instances are made and how what they wrap is destroyed. The generated code
// takes that for what its own classes say; these functions stand where it asks, so that any class will do.

/// What a class has in a slot; for one of which Python makes no instances, a function that refuses to.
void * slotOf(PyTypeObject * type, int slot);

/// The calling convention of a class's `__swig_destroy__`. Only generated functions are given the holder that is being
/// freed, which others might keep.
int destructorFlags(PyObject * destructor);

/// Calls one of the others with a holder of its own, which owns what is to be destroyed for the time of the call.
PyObject * callDestructor(PyObject * destructor, PyObject * holder, void * end);

} // namespace zarnik::python

// NOLINTBEGIN(readability-identifier-naming): the names that the generated code asks by
#define PyType_GetSlot zarnik::python::slotOf
#define PyCFunction_GetFlags zarnik::python::destructorFlags
#define PyObject_CallFunctionObjArgs zarnik::python::callDestructor
// NOLINTEND(readability-identifier-naming)
