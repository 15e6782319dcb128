#pragma once

#include "module/Python.h"

// One table of NumPy functions for the whole module; importNumpy() fills it in, nothing else may.
#define NPY_NO_DEPRECATED_API NPY_1_19_API_VERSION
#define NPY_TARGET_VERSION NPY_1_19_API_VERSION
#define PY_ARRAY_UNIQUE_SYMBOL zarnik_numpy_api
#ifndef NO_IMPORT_ARRAY
#define NO_IMPORT_ARRAY
#endif
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpedantic"
#include <numpy/arrayobject.h>
#pragma GCC diagnostic pop

namespace zarnik::python {

/// Imports NumPy's C interface and checks that this build can work with it: ABI 0x1000009 or 0x2000000, at least the
/// API of 1.16, little endian. On failure prints the reason, raises ImportError and returns false.
bool importNumpy();

} // namespace zarnik::python
