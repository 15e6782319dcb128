#pragma once

#include "module/Python.h"

namespace zarnik::python {

/// Creates a type like PyType_FromSpec, but without the warning that its name lacks a module: the names of the
/// generator's types are known to every module that it makes. An interpreter that turns warnings into errors would
/// otherwise get no type. Nobody but the module can make an instance, which Python would leave empty, or a class
/// derived from it.
PyObject * createType(PyType_Spec * spec);

/// The function that makes an instance, for types of which there is none to be made: raises TypeError.
PyObject * refuseToCreate(PyTypeObject * type, PyObject * arguments, PyObject * keywords);

} // namespace zarnik::python

// The generated code asks for its types by this name.
// NOLINTNEXTLINE(readability-identifier-naming)
#define PyType_FromSpec zarnik::python::createType
