#pragma once

#include "module/Conversions.h"

#include <memory>
#include <vector>

namespace zarnik {
class VariantDataValue;
} // namespace zarnik

namespace zarnik::python {

/// One element as an int, a float or a str; null with IndexError or ValueError pending when there is none.
///
/// Integers pass through 32 bits: those of 64 bits lose their upper half, and unsigned ones from 2^31 come out
/// negative. Text ends at the first zero byte, at every character width. Callers rely on both.
PyObject * variantElement(VariantDataValue const & value, int32_t index);

/// A value from a str, an int, a float or a sequence of them, whose first item decides the type of all; null with an
/// error pending for other objects. Ints pass through 32 bits; an item that does not convert becomes -1.
std::shared_ptr<VariantDataValue> variantFromObject(PyObject * object);

/// Whether the object is a sequence of str, but not a str itself.
bool isStringSequence(PyObject * object);

/// Pointers to the characters of a sequence's items.
struct StringPointers {
  std::vector<char const *> pointers;
  std::vector<Reference> items; ///< own the characters
  HeldError held;
};

/// Reads each item as a bytes object, although they are str: the pointers are null and the error is held.
/// Gives false with an error pending when the sequence does not give its items.
bool readStringPointers(PyObject * object, StringPointers & strings);

/// A value of the first `count` strings. Nothing is made if an item was not converted.
/// \throws InvalidArgument when there are not that many
std::shared_ptr<VariantDataValue> variantFromStrings(StringPointers & strings, size_t count);

} // namespace zarnik::python
