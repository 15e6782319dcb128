%header %{
#include "frames/Cells.h"
#include "zarnik/frames/DataFrameView.h"
#include "zarnik/frames/DataFrameViewFactory.h"
#include "zarnik/frames/DataFrameViewProvider.h"
%}

%held_by_shared_pointer(zarnik::DataFrameView)

%rename(get_capabilities) zarnik::DataFrameView::capabilities;
%rename(get_shape) zarnik::DataFrameView::shape;
%rename("%s") zarnik::DataFrameView::_reshape;
%rename("%s") zarnik::DataFrameView::_read_bytes;
%rename("%s") zarnik::DataFrameView::_write_bytes;
%rename("%s") zarnik::DataFrameView::_read_strings;
%rename("%s") zarnik::DataFrameView::_write_strings;
%rename("%s") zarnik::DataFrameView::_at;
%rename("%s") zarnik::DataFrameView::_set_at;
%rename("%s") zarnik::DataFrameViewFactory::_allocate;
%rename("%s") zarnik::DataFrameViewFactory::_allocate_empty;

// Lists of texts are written back after the call. What is wrong with them is told when it is over.
%typemap(in, noblock=1) zarnik::python::TextList & (zarnik::python::TextList list, zarnik::python::HeldError held) {
  if (!list.read($input, held)) SWIG_fail;
  $1 = &list;
}
%typemap(argout, noblock=1) zarnik::python::TextList & {
  list$argnum.writeBack(held$argnum);
}
%typemap(freearg, noblock=1) zarnik::python::TextList & {
  held$argnum.settle(resultobj, "$symname");
}
%typemap(check) zarnik::python::TextList & ""
%typemap(doctype) zarnik::python::TextList & "list of str"

%typemap(in, noblock=1) zarnik::python::DataTypeList const & (zarnik::python::DataTypeList list, zarnik::python::HeldError held) {
  if (!zarnik::python::readDataTypes($input, list, held)) SWIG_fail;
  $1 = &list;
}
%typemap(freearg, noblock=1) zarnik::python::DataTypeList const & {
  held$argnum.settle(resultobj, "$symname");
}
%typemap(check) zarnik::python::DataTypeList const & ""
%typemap(doctype) zarnik::python::DataTypeList const & "list of int"

// A value for a cell, whose conversion depends on the column.
%typemap(in, noblock=1) (PyObject *value, zarnik::python::HeldError &held) (zarnik::python::HeldError error) {
  $1 = $input;
  $2 = &error;
}
%typemap(freearg, noblock=1) (PyObject *value, zarnik::python::HeldError &held) {
  error$argnum.settle(resultobj, "$symname");
}
%typemap(check) (PyObject *value, zarnik::python::HeldError &held) ""
%typemap(doctype) PyObject *value "int, float or str"
%typemap(doctype) PyObject *_at "int, float or str"
%typemap(out, noblock=1) bool _set_at {
  if (!$1) SWIG_fail;
  $result = SWIG_Py_Void();
}
%typemap(doctype) bool _set_at ""

%create_from_pointer(DataFrameView)
%extend zarnik::DataFrameView {
  /// Make new columns in place of the old ones, all cells 0 or empty, without units.
  ///
  /// Needs the capability RESHAPE.
  /// Warning: No check is done on inputs. Pass arguments very carefully.
  /// \param shape The number of columns and the number of rows; column count and row count cannot be 0.
  /// \param names The names, one a column, not empty and all different. They are written back into the list.
  /// \param dtypes The ids of the data types, one a column: numeric ones of one component, or UTF8_STRING.
  /// \throws Error if a size, a name or a type is refused, or there is not enough memory.
  /// \throws NotImplemented If the table cannot be reshaped.
  void _reshape(zarnik::Vector<uint64_t, 2> const &shape, zarnik::python::TextList &names, zarnik::python::DataTypeList const &dtypes) {
    zarnik::python::reshapeFrame(*$self, shape, names, dtypes);
  }

  /// Read numbers of a column into a buffer.
  ///
  /// Needs the capability READ.
  /// \param column Index of the column.
  /// \param offset The first row.
  /// \param count The number of rows.
  /// \param dst Receives the cells, one after the other. Its size is not checked.
  /// \throws Error if the column or the rows are out of range, or the column holds texts.
  void _read_bytes(size_t column, size_t offset, size_t count, uint8_t *dst, size_t size) {
    (void)size;
    zarnik::python::readNumbers(*$self, column, offset, count, dst);
  }

  /// Write numbers from a buffer into a column.
  ///
  /// Needs the capability WRITE.
  /// \param column Index of the column.
  /// \param offset The first row.
  /// \param count The number of rows.
  /// \param src The cells, one after the other. Their number is not checked.
  /// \throws Error if the column or the rows are out of range, or the column holds texts.
  /// \throws NotImplemented If the table cannot be written.
  void _write_bytes(size_t column, size_t offset, size_t count, uint8_t const *src, size_t size) {
    (void)size;
    zarnik::python::writeNumbers(*$self, column, offset, count, src);
  }

  /// Read texts of a column into a list, in place of its items.
  ///
  /// Needs the capability READ.
  /// \param column Index of the column.
  /// \param offset The first row.
  /// \param count The number of rows.
  /// \param cells A list of at least as many str; those behind the first `count` stay.
  /// \throws Error if the column or the rows are out of range, or the column holds numbers.
  void _read_strings(size_t column, size_t offset, size_t count, zarnik::python::TextList &cells) {
    zarnik::python::readTexts(*$self, column, offset, count, cells);
  }

  /// Write texts from a list into a column.
  ///
  /// Needs the capability WRITE.
  /// \param column Index of the column.
  /// \param offset The first row.
  /// \param count The number of rows.
  /// \param cells A list of at least as many str.
  /// \throws Error if the column or the rows are out of range, or the column holds numbers.
  /// \throws NotImplemented If the table cannot be written.
  void _write_strings(size_t column, size_t offset, size_t count, zarnik::python::TextList &cells) {
    zarnik::python::writeTexts(*$self, column, offset, count, cells);
  }

  /// Return one cell.
  ///
  /// Needs the capability READ. Integers of 64 bits come as their low 32 bits, texts end at their first zero character.
  /// \param column Index of the column.
  /// \param row Index of the row.
  /// \return The number or the text.
  /// \throws Error if the column or the row is out of range, or there is no such number in Python.
  PyObject *_at(size_t column, size_t row) { return zarnik::python::cellAt(*$self, column, row); }

  /// Change one cell.
  ///
  /// Needs the capability WRITE. Integers are truncated to the width of the column.
  /// \param column Index of the column.
  /// \param row Index of the row.
  /// \param value The number or the text.
  /// \throws Error if the column or the row is out of range, or there is no such number in Python.
  /// \throws NotImplemented If the table cannot be written.
  bool _set_at(size_t column, size_t row, PyObject *value, zarnik::python::HeldError &held) {
    return zarnik::python::setCell(*$self, column, row, value, held);
  }
}

%typemap(doctype) zarnik::FlagSet<zarnik::DataFrameCapability> zarnik::DataFrameView::capabilities ":py:class:`DataFrameCapabilitySet`"
%include "zarnik/frames/DataFrameView.h"
%include "zarnik/frames/DataFrameViewProvider.h"

%extend zarnik::DataFrameViewFactory {
  /// Create a table in memory, all cells 0 or empty, without units.
  ///
  /// \param shape The number of columns and the number of rows; neither can be 0.
  /// \param names The names, one a column, not empty and all different. They are written back into the list.
  /// \param dtypes The ids of the data types, one a column: numeric ones of one component, or UTF8_STRING.
  /// \return The new table.
  /// \throws Error if a size, a name or a type is refused, or there is not enough memory.
  static std::shared_ptr<zarnik::DataFrameView> _allocate(zarnik::Vector<uint64_t, 2> const &shape, zarnik::python::TextList &names, zarnik::python::DataTypeList const &dtypes) {
    return zarnik::python::allocateFrame(shape, names, dtypes);
  }

  /// Create a table in memory without rows and columns.
  ///
  /// \return The new table.
  static std::shared_ptr<zarnik::DataFrameView> _allocate_empty() { return zarnik::DataFrameViewFactory::allocate(); }
}
%include "zarnik/frames/DataFrameViewFactory.h"
