#include "frames/Lists.h"

namespace zarnik::python {
namespace {

// The length of a sequence that is no str; negative, with TypeError pending, for anything else.
Py_ssize_t lengthOf(PyObject * list) {
  if (PySequence_Check(list) && !PyUnicode_Check(list))
    return PySequence_Size(list);
  PyErr_SetString(PyExc_TypeError, "not a list");
  return -1;
}

} // namespace

PyObject * textObject(char const * text, std::size_t length) {
  return PyUnicode_DecodeUTF8(text, static_cast<Py_ssize_t>(length), "surrogateescape");
}

bool readText(PyObject * object, std::string & text) {
  auto const encoded = Reference::steal(PyUnicode_AsUTF8String(object));
  char * bytes = nullptr;
  Py_ssize_t length = 0;
  if (!encoded || PyBytes_AsStringAndSize(encoded.get(), &bytes, &length) != 0)
    return false;
  text.assign(bytes, static_cast<std::size_t>(length));
  return true;
}

bool TextList::read(PyObject * list, HeldError & held) {
  auto const length = lengthOf(list);
  if (length < 0) {
    held.take();
    return true;
  }
  list_ = Reference::share(list);
  try {
    for (Py_ssize_t i = 0; i < length; ++i) {
      texts_.emplace_back();
      auto const item = Reference::steal(PySequence_GetItem(list, i));
      if (item && !PyUnicode_Check(item.get()))
        PyErr_SetString(PyExc_TypeError, "list must contains strings");
      else if (item && readText(item.get(), texts_.back()))
        continue;
      held.take();
    }
  } catch (...) {
    translateException();
    return false;
  }
  return true;
}

void TextList::writeBack(HeldError & held) const {
  for (std::size_t i = 0; i < texts_.size(); ++i) {
    auto const text = Reference::steal(textObject(texts_[i].data(), texts_[i].size()));
    if (!text || PySequence_SetItem(list_.get(), static_cast<Py_ssize_t>(i), text.get()) != 0) {
      held.take();
      return;
    }
  }
}

bool readDataTypes(PyObject * list, DataTypeList & types, HeldError & held) {
  auto const length = lengthOf(list);
  if (length < 0)
    return false;
  try {
    for (Py_ssize_t i = 0; i < length; ++i) {
      auto const item = Reference::steal(PySequence_GetItem(list, i));
      if (!item)
        return false;
      if (!PyLong_Check(item.get())) {
        PyErr_SetString(PyExc_TypeError, "list must contains longs");
        return false;
      }
      auto const id = readLong32(item.get());
      if (id == -1)
        held.take();
      types.emplace_back(static_cast<uint64_t>(int64_t{id}));
    }
  } catch (...) {
    translateException();
    return false;
  }
  return true;
}

} // namespace zarnik::python
