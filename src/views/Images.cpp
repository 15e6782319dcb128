#include "views/Images.h"

#include "module/Conversions.h"

namespace zarnik::python {

bool readImages(PyObject * object, char const * wrapper, std::vector<std::shared_ptr<ImageView>> & images) {
  if (!PyList_Check(object) && !PyTuple_Check(object)) {
    PyErr_SetString(PyExc_ValueError, "Input must be a list of a tuple"); // the wording that callers know
    return false;
  }
  try {
    SequenceReader sequence;
    if (!sequence.open(object, wrapper))
      return false;
    images.reserve(sequence.size());
    for (std::size_t i = 0; i < sequence.size(); ++i) {
      auto const item = sequence.item(i);
      if (!item)
        return false;
      auto image = wrappedImageView(item.get());
      if (!image && item.get() != Py_None) {
        PyErr_Format(PyExc_TypeError, "in method '%s', argument 1 of type 'std::shared_ptr< zarnik::ImageView >'",
                     wrapper);
        return false;
      }
      images.push_back(std::move(image));
    }
    return true;
  } catch (...) {
    translateException();
    return false;
  }
}

} // namespace zarnik::python
