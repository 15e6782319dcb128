#pragma once

#include "module/Python.h"

namespace zarnik::python {

/// Turns the exception being handled into a pending Python error; to be called in a catch block.
/// Library errors become a copy of type zarnik::Error raised as the class registered for it, std::bad_alloc becomes
/// MemoryError, anything else RuntimeError.
void translateException() noexcept;

} // namespace zarnik::python
