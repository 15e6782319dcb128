#pragma once

#include "frames/Lists.h"
#include "zarnik/values/Vector.h"

#include <cstddef>
#include <memory>

namespace zarnik {
class DataFrameView;
} // namespace zarnik

namespace zarnik::python {

/// Numbers of a column into a buffer or out of it. The buffer's size is not checked.
/// \throws Error if the column holds texts
void readNumbers(DataFrameView const & frame, size_t column, size_t offset, size_t count, void * destination);
void writeNumbers(DataFrameView & frame, size_t column, size_t offset, size_t count, void const * source);

/// Texts of a column into a list or out of it; nothing when there is no list.
/// \throws Error if the column holds no texts, or the list is too short
void readTexts(DataFrameView const & frame, size_t column, size_t offset, size_t count, TextList & cells);
void writeTexts(DataFrameView & frame, size_t column, size_t offset, size_t count, TextList & cells);

/// One cell as an int, float or str. Integers of 64 bits give their low 32 bits, texts end at their first zero byte:
/// callers rely on both.
PyObject * cellAt(DataFrameView const & frame, size_t column, size_t row);

/// Changes one cell. Integers are truncated to the width of the column. A value that is no number leaves -1 in a column
/// of numbers, and an error put aside.
/// False, with an error pending, when the value is no str for a column of texts.
bool setCell(DataFrameView & frame, size_t column, size_t row, PyObject * value, HeldError & held);

/// New columns for a table. Nothing when there is no list of names.
/// \throws Error if a list is shorter than the number of columns
void reshapeFrame(DataFrameView & frame, Vector2u64 const & shape, TextList & names, DataTypeList const & types);

/// A new table; null when there is no list of names.
std::shared_ptr<DataFrameView> allocateFrame(Vector2u64 const & shape, TextList & names, DataTypeList const & types);

} // namespace zarnik::python
