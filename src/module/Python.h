#pragma once

// The one place where Python.h is included, so that every file sees the same stable ABI.
#ifndef Py_LIMITED_API
#define Py_LIMITED_API 0x03090000
#endif
#define PY_SSIZE_T_CLEAN
#include <Python.h>

extern "C" {
// Part of the stable ABI of every Python 3; the headers stopped declaring them in 3.13.
#if PY_VERSION_HEX >= 0x030D0000
PyAPI_FUNC(int) PyObject_AsReadBuffer(PyObject * object, void const ** buffer, Py_ssize_t * length);
PyAPI_FUNC(int) PyObject_AsWriteBuffer(PyObject * object, void ** buffer, Py_ssize_t * length);
#endif
}

struct swig_type_info;
