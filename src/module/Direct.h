#pragma once

#include "module/Python.h"

namespace zarnik::python {

/// Adds the module `__direct__` to the names of `_zarnik`: what the package does for every access to an image, in one
/// call instead of ten flat ones. The flat names are an interface of their own, which stays what it is.
/// On failure an error is pending and the result is false.
bool addDirectModule(PyObject * names);

} // namespace zarnik::python
