#pragma once

#include "module/Conversions.h"
#include "zarnik/values/DataType.h"

#include <string>
#include <vector>

namespace zarnik::python {

/// The texts of a Python list, which are written back into it after the call.
///
/// What is wrong with the list does not keep the call from being made: it is put aside, and makes the call fail when it
/// is over.
class TextList {
public:
  /// Takes the texts, an empty one for an item that is no str. Something that is no list at all gives no texts.
  /// False, with an error pending, when there is not enough memory.
  bool read(PyObject * list, HeldError & held);

  /// Whether what was read is no list.
  bool isMissing() const { return !list_; }
  std::string * data() { return texts_.data(); }
  std::size_t size() const { return texts_.size(); }

  /// Puts all texts into the list, in place of its items.
  void writeBack(HeldError & held) const;

private:
  Reference list_;
  std::vector<std::string> texts_;
};

using DataTypeList = std::vector<DataType>;

/// The data types in a sequence of ids; on failure raises TypeError "not a list" or "list must contains longs" and
/// returns false. Ids are read as signed 32-bit values.
bool readDataTypes(PyObject * list, DataTypeList & types, HeldError & held);

/// A str of UTF-8; bytes that are none come back as surrogates.
PyObject * textObject(char const * text, std::size_t length);

/// The UTF-8 of a str; false, with an error pending, if it has none.
bool readText(PyObject * object, std::string & text);

} // namespace zarnik::python
