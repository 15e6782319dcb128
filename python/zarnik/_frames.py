"""Tables: columns as arrays and lists, rows, and the way to other libraries' tables."""

from __future__ import annotations

import itertools
import operator
from collections.abc import Iterator, Mapping, MutableMapping, Sequence
from typing import TYPE_CHECKING, Any, Union

import numpy

import zarnik._classes as _classes
from zarnik import _direct
from zarnik._calls import flat as _zarnik
from zarnik._drawing import counted
from zarnik._enumerations import DataTypeId
from zarnik._extension import extends
from zarnik._types import as_data_type, data_type_id_of, dtype_of

if TYPE_CHECKING:
    from zarnik._classes import DataFrameView

Column = Union["numpy.ndarray[Any, Any]", "list[str]"]

_TEXT = int(DataTypeId.UTF8_STRING)
_SHOWN_ROWS = 10


class _Memory:
    """What NumPy makes an array of, and keeps as long as the array lives."""

    def __init__(self, memory: tuple[int, int, bool, Any], dtype: numpy.dtype[Any]) -> None:
        address, rows, writable, self._owner = memory
        self.__array_interface__ = {
            "version": 3,
            "shape": (rows,),
            "typestr": dtype.str,
            "data": (address, not writable),
        }


class _Units(MutableMapping[str, str]):
    """The units of a table's columns, by name; what is changed here changes the table."""

    def __init__(self, frame: DataFrameView) -> None:
        self._frame = frame

    def __getitem__(self, name: str) -> str:
        return self._frame.unit(_index_of(self._frame, name))

    def __setitem__(self, name: str, unit: str | None) -> None:
        self._frame.set_unit(_index_of(self._frame, name), unit or "")

    def __delitem__(self, name: str) -> None:
        self[name] = ""

    def __iter__(self) -> Iterator[str]:
        return iter(_columns(self._frame))

    def __len__(self) -> int:
        return _shape(self._frame)[0]

    def __repr__(self) -> str:
        return repr(dict(self))


def _shape(frame: Any) -> tuple[int, int]:
    sizes = _zarnik.DataFrameView_get_shape(frame)
    return sizes.at(0), sizes.at(1)


def _columns(frame: Any) -> list[str]:
    return [_zarnik.DataFrameView_column_name(frame, i) for i in range(_shape(frame)[0])]


def _index_of(frame: Any, name: Any) -> int:
    if not isinstance(name, str):
        raise TypeError(f"columns are named by a str, got {name!r}")
    try:
        return int(_zarnik.DataFrameView_column_index(frame, name))
    except _classes.Error:
        raise KeyError(f"{name!r}: the columns are {', '.join(map(repr, _columns(frame))) or 'none'}") from None


def _type_of(frame: Any, index: int) -> int:
    return int(_zarnik.DataFrameView_column_data_type(frame, index).get_id())


def _read(frame: Any, index: int, offset: int, count: int) -> Column:
    """Cells of a column, of numbers as an array of their own."""
    type_id = _type_of(frame, index)
    if type_id == _TEXT:
        return _direct.read_texts(frame, index, offset, count)
    cells = numpy.empty(count, dtype_of(type_id))
    _zarnik.DataFrameView__read_bytes(frame, index, offset, count, cells)
    return cells


def _shared(frame: Any, index: int) -> numpy.ndarray[Any, Any] | None:
    dtype = dtype_of(_type_of(frame, index))
    memory = _direct.column_memory(frame, index)
    return None if memory is None else numpy.asarray(_Memory(memory, dtype))


def _is_text(values: Any) -> bool:
    if isinstance(values, str):
        return True
    if isinstance(values, Sequence):
        return len(values) > 0 and isinstance(values[0], str)
    array = numpy.asarray(values)
    return array.dtype.kind in "UT" or (array.dtype.kind == "O" and array.size > 0 and isinstance(array.flat[0], str))


def _prepared(values: Any, type_id: int | None, count: int | None, name: str) -> tuple[int, Any]:
    """The data type and the cells that values stand for: an array of numbers, or a list of str.

    A single value stands for as many as there are rows.

    :raises ValueError: if their number is not `count`.
    """
    cells: Any
    if type_id == _TEXT or (type_id is None and _is_text(values)):
        type_id = _TEXT
        if _is_single(values):
            values = itertools.repeat(values, 1 if count is None else count)
        cells = values if type(values) is list else list(values)
    else:
        cells = numpy.asarray(values)
        if type_id is None:
            type_id = int(
                data_type_id_of(numpy.dtype("u1") if cells.dtype.kind == "b" else cells.dtype.newbyteorder("="))
            )
        dtype = dtype_of(type_id)
        if not _fits(cells, dtype):
            raise TypeError(f"column {name!r} holds {dtype}, values of {cells.dtype} would lose what they are")
        if cells.ndim == 0 and count is not None:
            cells = numpy.broadcast_to(cells, count)
        if cells.ndim > 1:
            raise ValueError(f"column {name!r} takes one value a row, got an array of shape {cells.shape}")
        cells = numpy.ascontiguousarray(cells, dtype)
    if count is not None and len(cells) != count:
        raise ValueError(f"column {name!r} has {count} rows, got {len(cells)} values")
    return type_id, cells


def _fits(cells: numpy.ndarray[Any, Any], dtype: numpy.dtype[Any]) -> bool:
    """Whether a column can hold the values: integers within its range, or any numbers as floating point numbers."""
    if dtype.kind == "f" or numpy.can_cast(cells.dtype, dtype):
        return numpy.can_cast(cells.dtype, dtype, "same_kind")
    if cells.dtype.kind not in "iu":
        return False
    limits = numpy.iinfo(dtype)
    return cells.size == 0 or (int(cells.min()) >= limits.min and int(cells.max()) <= limits.max)


def _write(frame: Any, index: int, offset: int, cells: Any) -> None:
    if isinstance(cells, list):
        try:
            _direct.write_texts(frame, index, offset, cells)
        except TypeError:
            # Looked for where it is too late: a million texts are written in the time that looking at them takes.
            other = next(cell for cell in cells if not isinstance(cell, str))
            raise TypeError(f"column {_columns(frame)[index]!r} holds texts, got {other!r}") from None
    elif len(cells):
        _zarnik.DataFrameView__write_bytes(frame, index, offset, len(cells), memoryview(cells).cast("B"))


def _is_single(value: Any) -> bool:
    if isinstance(value, (list, tuple, numpy.ndarray)):
        return isinstance(value, numpy.ndarray) and value.ndim == 0
    return isinstance(value, (str, bytes)) or numpy.ndim(value) == 0


def _cell_text(value: Any) -> str:
    if isinstance(value, str):
        return value if value.isprintable() else repr(value)[1:-1]
    return f"{value:.6g}" if isinstance(value, numpy.floating) else str(value)


def _shown(frame: Any) -> tuple[list[str], list[str], list[list[str]]]:
    """Headings, units and the first rows of a table, as text."""
    columns, rows = _shape(frame)
    count = min(rows, _SHOWN_ROWS)
    cells = [[_cell_text(value) for value in _read(frame, i, 0, count)] for i in range(columns)]
    units = [_zarnik.DataFrameView_unit(frame, i) for i in range(columns)]
    return _columns(frame), units, [list(row) for row in zip(*cells)]


def _heading(frame: Any) -> str:
    columns, rows = _shape(frame)
    return f"{counted(rows, 'row')} x {counted(columns, 'column')}"


@extends(_classes.DataFrameView)
class _DataFrameView:
    """A table: columns of numbers are arrays over the table's memory, columns of texts are lists of str.

    `len` is the number of rows; iterating and `in` go over the names of the columns. An array of a column shows the
    rows that there were when it was asked for: it stays valid, but may no longer share its memory with the table, when
    rows are added or removed.
    """

    if TYPE_CHECKING:

        def add_rows(self, offset: int, count: int) -> None: ...
        def remove_rows(self, offset: int, count: int) -> None: ...
        def remove_column(self, index: int) -> None: ...
        def set_unit(self, index: int, unit: str) -> None: ...

    # ---- what it holds -----------------------------------------------------------------------------------------------

    def __len__(self) -> int:
        return _shape(self)[1]

    def __bool__(self) -> bool:
        return _shape(self)[1] > 0

    def __iter__(self) -> Iterator[str]:
        return iter(_columns(self))

    def __contains__(self, name: object) -> bool:
        try:
            _index_of(self, name)
        except (KeyError, TypeError):
            return False
        return True

    @property
    def shape(self) -> tuple[int, int]:
        """The number of rows and the number of columns; `get_shape()` has them the other way round."""
        columns, rows = _shape(self)
        return rows, columns

    @property
    def columns(self) -> list[str]:
        """The names of the columns."""
        return _columns(self)

    @property
    def dtypes(self) -> dict[str, Any]:
        """The dtype of the cells of each column; str for texts."""
        types = (_type_of(self, i) for i in range(_shape(self)[0]))
        return {name: str if found == _TEXT else dtype_of(found) for name, found in zip(_columns(self), types)}

    @property
    def units(self) -> MutableMapping[str, str]:
        """The unit of each column, empty for none: `frame.units["area"] = "mm²"` changes it."""
        return _Units(self)  # type: ignore[arg-type]

    @units.setter
    def units(self, units: Mapping[str, str | None]) -> None:
        if not isinstance(units, Mapping):
            raise TypeError(f"units are a mapping from the names of columns to their units, got {units!r}")
        indices = [_index_of(self, name) for name in units]
        for index, unit in zip(indices, units.values()):
            self.set_unit(index, unit or "")

    def __getitem__(self, name: str) -> Column:
        """Return a column: an array over the table's memory, or a list of str.

        :raises KeyError: if there is no such column.
        """
        index = _index_of(self, name)
        if _type_of(self, index) != _TEXT:
            shared = _shared(self, index)
            if shared is not None:
                return shared
        return _read(self, index, 0, len(self))

    def __setitem__(self, name: str, values: Any) -> None:
        """Change all cells of a column, or add a column behind the others.

        :param values: One value a row, or one for all rows. A column that is there keeps its type.
        :raises ValueError: if there are more or fewer values than rows.
        :raises TypeError: if a column of numbers cannot hold the values, or one of texts is given something else.
        """
        if not isinstance(name, str):
            raise TypeError(f"columns are named by a str, got {name!r}")
        columns, rows = _shape(self)
        if name in self:
            index = _index_of(self, name)
            _write(self, index, 0, _prepared(values, _type_of(self, index), rows, name)[1])
            return
        # The first column of a new table tells how many rows there are.
        is_first = columns == 0 and rows == 0 and not _is_single(values)
        type_id, cells = _prepared(values, None, None if is_first else rows, name)
        self.add_column(name, type_id)
        try:
            if is_first:
                self.add_rows(0, len(cells))
            _write(self, columns, 0, cells)
        except BaseException:
            self.remove_column(columns)
            if is_first:
                self.remove_rows(0, len(self))
            raise

    def add_column(self, name: str, dtype: Any) -> None:
        """Add a column behind the last one, its cells 0 or empty texts, without a unit.

        :param name: The name, not empty, which no column has yet.
        :param dtype: A data type, its id or a dtype, of numbers of one component; `str` for texts.
        :raises Error: if the name is taken or empty, or the type is not supported.
        """
        _zarnik.DataFrameView_add_column(self, name, _classes.DataType(_type_id(dtype)))

    def __delitem__(self, name: str) -> None:
        self.remove_column(_index_of(self, name))

    # ---- parts of columns --------------------------------------------------------------------------------------------

    def read(self, column: str | int, offset: int = 0, count: int | None = None) -> Column:
        """Return a copy of some cells of a column: an array of numbers, or a list of str.

        :param column: Its name or its index.
        :param offset: The first row.
        :param count: How many rows; all behind the first by default.
        :raises IndexError: if there are no such rows.
        """
        index = _position(self, column)
        return _read(self, index, offset, _checked_count(self, offset, count))

    def write(self, column: str | int, values: Any, offset: int = 0) -> None:
        """Change some cells of a column.

        :param column: Its name or its index.
        :param values: One value a row.
        :param offset: The first row.
        :raises IndexError: if there are no such rows.
        :raises TypeError: if the column cannot hold the values.
        """
        index = _position(self, column)
        cells = _prepared([values] if _is_single(values) else values, _type_of(self, index), None, str(column))[1]
        _checked_count(self, offset, len(cells))
        _write(self, index, offset, cells)

    def at(self, column: str | int, row: int) -> Any:
        """Return one cell, a NumPy scalar or a str, whole: also integers of 64 bits and texts with zero characters.

        :raises IndexError: if there is no such row.
        """
        return _DataFrameView.read(self, column, row, 1)[0]

    def set_at(self, column: str | int, row: int, value: Any) -> None:
        """Change one cell.

        :raises IndexError: if there is no such row.
        :raises TypeError: if the column cannot hold the value.
        """
        _DataFrameView.write(self, column, [value], row)

    def reshape(self, row_count: int, columns: Mapping[str, Any]) -> None:
        """Make new columns in place of the old ones, all cells 0 or empty, without units.

        :param row_count: The number of rows, at least 1.
        :param columns: The name and the dtype, `str` for texts, of each column; at least one.
        :raises Error: if a size, a name or a type is refused.
        """
        _zarnik.DataFrameView__reshape(self, *_layout(row_count, columns))

    # ---- rows --------------------------------------------------------------------------------------------------------

    def rows(self, start: int = 0, stop: int | None = None) -> Iterator[dict[str, Any]]:
        """Iterate over the rows, each a dict from the names of the columns to the values.

        :param start: The first row; negative ones count from the end, as in a slice.
        :param stop: The row behind the last.
        """
        block = 4096
        first, last, _ = slice(start, stop).indices(len(self))
        names = _columns(self)
        for offset in range(first, last, block):
            count = min(block, last - offset)
            cells = [_read(self, i, offset, count) for i in range(len(names))]
            lists = [column if isinstance(column, list) else column.tolist() for column in cells]
            for values in zip(*lists) if names else itertools.repeat((), count):
                yield dict(zip(names, values))

    def append(self, rows: Any) -> None:
        """Add rows at the end.

        :param rows: A mapping from the names of all columns to values, one or many; or a table of the same columns.
        :raises KeyError: if a column is missing, or one is named that the table does not have.
        """
        _insert(self, len(self), rows)

    def insert(self, offset: int, rows: Any) -> None:
        """Add rows before another one.

        :param offset: The row before which they come; negative ones count from the end, as in a list.
        :param rows: As `append` takes them.
        :raises IndexError: if there is no such row.
        """
        count, offset = len(self), operator.index(offset)
        where = offset + count if offset < 0 else offset
        if not 0 <= where <= count:
            raise IndexError(f"row {offset} is out of range for a table of {count} rows")
        _insert(self, where, rows)

    # ---- as other things ---------------------------------------------------------------------------------------------

    def to_dict(self) -> dict[str, Column]:
        """Return a copy of all columns: arrays of numbers and lists of str, by name."""
        columns, rows = _shape(self)
        return {name: _read(self, i, 0, rows) for i, name in zip(range(columns), _columns(self))}

    @staticmethod
    def from_dict(data: Mapping[str, Any], units: Mapping[str, str] | None = None) -> DataFrameView:
        """Make a table of columns.

        :param data: For each column its values: an array of numbers, or a sequence of numbers or of str.
        :param units: The units of some of the columns.
        :raises ValueError: if the columns differ in length.
        """
        if not isinstance(data, Mapping):
            raise TypeError(f"from_dict takes a mapping from names to columns, got {data!r}")
        frame = _classes.DataFrameViewFactory._allocate_empty()
        for name, values in data.items():
            if _is_single(values):
                raise TypeError(f"column {name!r} needs a sequence of values, got {values!r}")
            frame[name] = values
        frame.units = units or {}
        return frame

    def __arrow_c_schema__(self) -> Any:
        """The columns, by the Arrow PyCapsule interface; units are in the metadata of the fields."""
        return _direct.arrow_schema(self)

    def __arrow_c_stream__(self, requested_schema: Any = None) -> Any:
        """The table, by the Arrow PyCapsule interface: numbers are shared, texts are copied."""
        return _direct.arrow_stream(self)

    @staticmethod
    def from_arrow(table: Any) -> DataFrameView:
        """Make a table of another library's, by the Arrow PyCapsule interface.

        Numbers stay where they are, where they come in one piece; such a column is copied before it is changed.

        :param table: What has `__arrow_c_stream__`: a table of pandas, polars, pyarrow, duckdb and others.
        :raises InvalidArgument: if a column has nulls, or a type other than numbers and texts; it is named.
        """
        give = getattr(table, "__arrow_c_stream__", None)
        if give is None:
            raise TypeError(f"a table with __arrow_c_stream__ is needed, got {type(table).__name__}")
        return _direct.frame_from_arrow(give())

    # ---- copies ------------------------------------------------------------------------------------------------------

    def __reduce_ex__(self, protocol: Any) -> tuple[Any, ...]:
        rows, columns = _columns_of(self)
        return _frame_of, (rows, [(*told, [_sent(part, protocol) for part in parts]) for *told, parts in columns])

    def __copy__(self) -> DataFrameView:
        return _frame_of(*_columns_of(self), is_shared=False)

    def __deepcopy__(self, memo: dict[int, Any]) -> DataFrameView:
        return _frame_of(*_columns_of(self), is_shared=False)

    def __repr__(self) -> str:
        names, units, rows = _shown(self)
        lines = [f"<zarnik.DataFrameView of {_heading(self)}>"]
        if names:
            head = [f"{name} [{unit}]" if unit else name for name, unit in zip(names, units)]
            table = [head, *rows]
            widths = [max(len(row[i]) for row in table) for i in range(len(head))]
            lines += ["  ".join(cell.rjust(width) for cell, width in zip(row, widths)) for row in table]
            if len(self) > len(rows):
                lines.append("...")
        return "\n".join(lines)

    __str__ = __repr__

    def _repr_html_(self) -> str:
        import html  # which few need, and which takes its time

        names, units, rows = _shown(self)
        row_of = "<tr>{}</tr>".format
        head = "".join(
            f"<th>{html.escape(name)}{f'<br>[{html.escape(unit)}]' if unit else ''}</th>"
            for name, unit in zip(names, units)
        )
        body = "".join(row_of("".join(f"<td>{html.escape(cell)}</td>" for cell in row)) for row in rows)
        if len(self) > len(rows):
            body += row_of("<td>...</td>" * len(names))
        return f"<table><thead>{row_of(head)}</thead><tbody>{body}</tbody></table><p>{_heading(self)}</p>"


# ---- pickles ---------------------------------------------------------------------------------------------------------

#: name, id of the data type, unit, and the cells: of numbers one array, of texts offsets and UTF-8
_Sent = tuple[str, int, str, list[Any]]


def _columns_of(frame: Any) -> tuple[int, list[_Sent]]:
    """The number of rows and the columns of a table, whose numbers are arrays over its memory where it has some."""
    columns: list[_Sent] = []
    count, rows = _shape(frame)
    for index in range(count):
        type_id = _type_of(frame, index)
        parts: Any = _direct.text_cells(frame, index) if type_id == _TEXT else [_shared(frame, index)]
        if parts[0] is None:
            parts = [_read(frame, index, 0, rows)]
        name, unit = _zarnik.DataFrameView_column_name(frame, index), _zarnik.DataFrameView_unit(frame, index)
        columns.append((name, type_id, unit, list(parts)))
    return rows, columns


def _sent(part: Any, protocol: int) -> Any:
    if protocol < 5:
        return bytes(part)
    from pickle import PickleBuffer

    return PickleBuffer(part)


def _frame_of(rows: int, columns: list[_Sent], is_shared: bool = True) -> DataFrameView:
    """Make a table of what `_columns_of` gave.

    :param is_shared: Whether the table is over the numbers, but for those that came within a pickle: these belong to
        nobody else, so that the table has them as its own, which may be changed.
    """
    is_over = [is_shared and type_id != _TEXT and _can_share(parts[0], type_id) for _, type_id, _, parts in columns]
    frame: DataFrameView = _direct.frame_over_columns(
        rows,
        [
            (name, type_id, unit, parts[0] if over else None)
            for (name, type_id, unit, parts), over in zip(columns, is_over)
        ],
    )
    for index, ((_, type_id, _, parts), over) in enumerate(zip(columns, is_over)):
        if type_id == _TEXT:
            _direct.write_text_cells(frame, index, *parts)
        elif not over:
            _write(frame, index, 0, numpy.frombuffer(parts[0], dtype_of(type_id)))
    return frame


def _can_share(cells: Any, type_id: int) -> bool:
    if isinstance(cells, (bytes, bytearray)):
        return False
    found = numpy.frombuffer(cells, dtype_of(type_id)) if memoryview(cells).nbytes else None
    return found is not None and found.flags.aligned


@extends(_classes.DataFrameViewFactory)
class _DataFrameViewFactory:
    @staticmethod
    def allocate(row_count: int = 0, columns: Mapping[str, Any] | None = None) -> DataFrameView:
        """Create a table in memory, all cells 0 or empty, without units.

        :param row_count: The number of rows.
        :param columns: The name and the dtype, `str` for texts, of each column.
        :raises Error: if a name or a type is refused, or there is not enough memory.
        """
        if columns is not None and not isinstance(columns, Mapping):
            raise TypeError(f"columns are a dict of names and dtypes, got {type(columns).__name__}")
        if row_count and columns:
            return _zarnik.DataFrameViewFactory__allocate(*_layout(row_count, columns))
        frame: DataFrameView = _zarnik.DataFrameViewFactory__allocate_empty()
        frame.add_rows(0, row_count)
        for name, dtype in (columns or {}).items():
            frame.add_column(name, dtype)
        return frame


def _type_id(dtype: Any) -> int:
    return _TEXT if dtype is str else int(as_data_type(dtype).get_id())


def _layout(row_count: int, columns: Mapping[str, Any]) -> tuple[Any, list[str], list[int]]:
    # Ids of types that a table can hold have less than 32 bits; others are refused as what they are.
    for name, dtype in columns.items():
        if _type_id(dtype) >> 31:
            raise TypeError(f"column {name!r} cannot hold {as_data_type(dtype).to_string()}")
    shape = _classes.Vector2u64()
    shape.set_at(0, len(columns))
    shape.set_at(1, row_count)
    return shape, list(columns), [_type_id(dtype) for dtype in columns.values()]


def _position(frame: Any, column: str | int) -> int:
    if isinstance(column, str):
        return _index_of(frame, column)
    count = _shape(frame)[0]
    if not 0 <= column < count:
        raise IndexError(f"column {column} is out of range for a table of {count} columns")
    return column


def _checked_count(frame: Any, offset: int, count: int | None) -> int:
    rows, offset = _shape(frame)[1], operator.index(offset)
    count = rows - offset if count is None else operator.index(count)
    if not 0 <= offset <= rows or not 0 <= count <= rows - offset:
        raise IndexError(f"row {offset} + {count} rows is out of range for a table of {rows} rows")
    return count


def _insert(frame: Any, offset: int, rows: Any) -> None:
    names = _columns(frame)
    if isinstance(rows, _classes.DataFrameView):
        rows = rows.to_dict()
    if not isinstance(rows, Mapping):
        raise TypeError(f"rows are a mapping from the names of the columns to values, or a table, got {rows!r}")
    unknown = [name for name in rows if name not in names]
    missing = [name for name in names if name not in rows]
    if unknown or missing:
        raise KeyError(f"the columns are {names}, got {list(rows)}")
    many = [values for values in rows.values() if not _is_single(values)]
    count = len(many[0]) if many else 1
    # All is converted before anything changes.
    types = [_type_of(frame, i) for i in range(len(names))]
    cells = [_prepared(rows[name], types[i], count, name)[1] for i, name in enumerate(names)]
    frame.add_rows(offset, count)
    try:
        for i, values in enumerate(cells):
            _write(frame, i, offset, values)
    except BaseException:
        frame.remove_rows(offset, count)
        raise
