#include "metadata/VariantValues.h"

#include "zarnik/metadata/VariantDataValue.h"
#include "zarnik/metadata/VariantDataValueFactory.h"
#include "zarnik/values/DataType.h"

#include <cstring>
#include <fmt/format.h>
#include <string>

namespace zarnik::python {

namespace {

template <typename T> PyObject * intElement(VariantDataValue const & value, size_t index) {
  auto const element = static_cast<T const *>(value.raw())[index];
  return PyLong_FromLong(static_cast<int32_t>(element));
}

template <typename T> PyObject * floatElement(VariantDataValue const & value, size_t index) {
  return PyFloat_FromDouble(static_cast<T const *>(value.raw())[index]);
}

PyObject * textElement(VariantDataValue const & value, size_t index) {
  auto const depth = value.type().bitDepth();
  if (depth != 8 && depth != 16 && depth != 32)
    return nullptr;
  auto const * const characters = static_cast<char const * const *>(value.raw())[index];
  auto const length = static_cast<Py_ssize_t>(std::strlen(characters));
  return depth == 8    ? PyUnicode_DecodeUTF8(characters, length, "replace")
         : depth == 16 ? PyUnicode_DecodeUTF16(characters, length, "replace", nullptr)
                       : PyUnicode_DecodeUTF32(characters, length, "replace", nullptr);
}

/// The element as Python has it, null if the type is none that a value can have.
PyObject * element(VariantDataValue const & value, size_t index) {
  auto const depth = value.type().bitDepth();
  switch (value.type().primitiveType()) {
  case PrimitiveTypeId::UNSIGNED_INTEGER:
    return depth == 8    ? intElement<uint8_t>(value, index)
           : depth == 16 ? intElement<uint16_t>(value, index)
           : depth == 32 ? intElement<uint32_t>(value, index)
           : depth == 64 ? intElement<uint64_t>(value, index)
                         : nullptr;
  case PrimitiveTypeId::SIGNED_INTEGER:
    return depth == 8    ? intElement<int8_t>(value, index)
           : depth == 16 ? intElement<int16_t>(value, index)
           : depth == 32 ? intElement<int32_t>(value, index)
           : depth == 64 ? intElement<int64_t>(value, index)
                         : nullptr;
  case PrimitiveTypeId::FLOATING_POINT:
    return depth == 32 ? floatElement<float>(value, index) : depth == 64 ? floatElement<double>(value, index) : nullptr;
  case PrimitiveTypeId::UNICODE_STRING:
    return textElement(value, index);
  default:
    return nullptr;
  }
}

std::shared_ptr<VariantDataValue> refuse(PyObject * kind, char const * text) {
  PyErr_SetString(kind, text);
  return nullptr;
}

Reference utf8Of(PyObject * text) { return Reference::steal(PyUnicode_AsUTF8String(text)); }

/// The converted items of a sequence; false with an error pending when the sequence fails to give one.
template <typename T, typename Convert>
bool convertItems(PyObject * sequence, std::vector<T> & values, Convert && convert) {
  for (size_t i = 0; i < values.size(); ++i) {
    auto const item = Reference::steal(PySequence_GetItem(sequence, static_cast<Py_ssize_t>(i)));
    if (!item)
      return false;
    // What the converter makes of an item is kept, its error is not.
    values[i] = convert(item.get());
    PyErr_Clear();
  }
  return true;
}

std::shared_ptr<VariantDataValue> variantFromTexts(PyObject * sequence, size_t count) {
  std::vector<Reference> encoded(count);
  std::vector<char const *> characters(count);
  for (size_t i = 0; i < count; ++i) {
    auto const item = Reference::steal(PySequence_GetItem(sequence, static_cast<Py_ssize_t>(i)));
    if (!item)
      return nullptr;
    // An item without characters would be a null pointer: unlike numbers, texts have no value to stand for it.
    encoded[i] = utf8Of(item.get());
    if (!encoded[i])
      return nullptr;
    characters[i] = PyBytes_AsString(encoded[i].get());
  }
  return VariantDataValueFactory::create(characters.data(), count);
}

std::shared_ptr<VariantDataValue> variantFromSequence(PyObject * sequence) {
  auto const size = PySequence_Size(sequence);
  if (size < 0)
    return nullptr;
  if (size == 0)
    return refuse(PyExc_ValueError, "Cannot create metadata value from an empty sequence");
  auto const count = static_cast<size_t>(size);
  auto const first = Reference::steal(PySequence_GetItem(sequence, 0));
  if (!first)
    return nullptr;
  if (PyLong_Check(first.get())) {
    std::vector<int64_t> values(count);
    return convertItems(sequence, values, readLong32) ? VariantDataValueFactory::create(values.data(), count) : nullptr;
  }
  if (PyFloat_Check(first.get())) {
    std::vector<double> values(count);
    return convertItems(sequence, values, PyFloat_AsDouble) ? VariantDataValueFactory::create(values.data(), count)
                                                            : nullptr;
  }
  if (PyUnicode_Check(first.get()))
    return variantFromTexts(sequence, count);
  return refuse(PyExc_ValueError, "Cannot create metadata value from this sequence");
}

} // namespace

PyObject * variantElement(VariantDataValue const & value, int32_t index) {
  // A negative index is beyond every count.
  auto const position = static_cast<size_t>(int64_t{index});
  if (position >= value.count()) {
    PyErr_SetString(PyExc_IndexError, "Index out of range");
    return nullptr;
  }
  auto * const result = element(value, position);
  if (!result)
    PyErr_SetString(PyExc_ValueError, fmt::format("Incompatible type {}", value.type().toString()).c_str());
  return result;
}

std::shared_ptr<VariantDataValue> variantFromObject(PyObject * object) {
  if (PyUnicode_Check(object)) {
    auto const encoded = utf8Of(object);
    return encoded ? VariantDataValueFactory::create(PyBytes_AsString(encoded.get())) : nullptr;
  }
  if (PySequence_Check(object))
    return variantFromSequence(object);
  if (PyLong_Check(object)) {
    auto const number = readLong32(object);
    return number == -1 && PyErr_Occurred() ? nullptr : VariantDataValueFactory::create(static_cast<int>(number));
  }
  if (PyFloat_Check(object))
    return VariantDataValueFactory::create(PyFloat_AsDouble(object));
  return refuse(PyExc_ValueError, "Cannot create metadata value from this value");
}

bool isStringSequence(PyObject * object) {
  if (PyUnicode_Check(object) || !PySequence_Check(object))
    return false;
  auto const size = PySequence_Size(object);
  bool isText = size >= 0;
  for (Py_ssize_t i = 0; i < size && isText; ++i) {
    auto const item = Reference::steal(PySequence_GetItem(object, i));
    isText = item && PyUnicode_Check(item.get());
  }
  // Only the choice among overloads depends on this; what failed here fails again where it is reported.
  PyErr_Clear();
  return isText;
}

bool readStringPointers(PyObject * object, StringPointers & strings) {
  auto const size = PySequence_Size(object);
  for (Py_ssize_t i = 0; i < size; ++i) {
    auto item = Reference::steal(PySequence_GetItem(object, i));
    if (!item)
      return false;
    // The characters are asked of the item and not of its encoding. Callers know this form to fail.
    strings.pointers.push_back(PyBytes_AsString(item.get()));
    strings.held.take();
    PyErr_Clear();
    strings.items.push_back(std::move(item));
  }
  return size >= 0;
}

std::shared_ptr<VariantDataValue> variantFromStrings(StringPointers & strings, size_t count) {
  auto & pointers = strings.pointers;
  for (auto const * const pointer : pointers)
    if (pointer == nullptr)
      return nullptr;
  if (count > pointers.size())
    throw InvalidArgument(fmt::format("cannot take {} strings from a sequence of {}", count, pointers.size()));
  return VariantDataValueFactory::create(pointers.data(), count);
}

} // namespace zarnik::python
