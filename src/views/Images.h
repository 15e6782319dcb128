#pragma once

#include "module/Python.h"

#include <memory>
#include <vector>

namespace zarnik {
class ImageView;
} // namespace zarnik

namespace zarnik::python {

/// The images in a list or tuple, None being an empty pointer. On failure raises ValueError "Input must be a list of a
/// tuple", or the wrapper's TypeError for an item that is no image, and returns false.
bool readImages(PyObject * object, char const * wrapper, std::vector<std::shared_ptr<ImageView>> & images);

} // namespace zarnik::python
