#pragma once

#include "module/Holders.h"
#include "module/Python.h"

#include <cstddef>
#include <memory>

namespace zarnik {
class ImageView;
} // namespace zarnik

namespace zarnik::python {

// SWIG's runtime is private to the generated file; these functions, defined there, open the little of it that
// hand-written code needs.

/// A wrapped object of the given type, owning its pointer, as an instance of the registered class if there is one.
PyObject * wrapOwned(void * pointer, swig_type_info * type);

/// Raises a wrapped object, which is taken over, as the class registered for its type, or as RuntimeError.
void raiseWrapped(PyObject * object, swig_type_info * type);

/// The type table's entry for zarnik::Error *.
swig_type_info * errorType();

/// The view of a wrapped image view, or null when the object is none.
std::shared_ptr<ImageView> wrappedImageView(PyObject * object);

} // namespace zarnik::python
