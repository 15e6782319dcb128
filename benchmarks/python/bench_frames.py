"""What tables cost next to those of pandas and pyarrow: rows in blocks, columns, texts, the way to other libraries.

Ten million rows come in blocks of a hundred thousand. A table has them in one piece after each block. What they are
compared with makes one piece of all at the end: numpy.concatenate; pandas.concat, of blocks that become frames first;
and pyarrow, of blocks that become tables, by combining chunks.
"""

from __future__ import annotations

from collections.abc import Iterator

import numpy

import zarnik
from measure import Ratio, compare

ROWS, BLOCK = 10_000_000, 100_000
TEXTS = [f"object {number}" for number in range(1_000_000)]
BLOCK_OF = {"area": numpy.arange(float(BLOCK)), "count": numpy.arange(BLOCK, dtype="i4")}

try:
    import pandas
    import pyarrow
except ImportError:
    pandas = pyarrow = None


def appended() -> zarnik.DataFrameView:
    frame = zarnik.DataFrameView.from_dict({name: values[:0] for name, values in BLOCK_OF.items()})
    for _ in range(ROWS // BLOCK):
        frame.append(BLOCK_OF)
    return frame


def concatenated() -> object:
    return pandas.concat([pandas.DataFrame(BLOCK_OF) for _ in range(ROWS // BLOCK)])


def chunked() -> object:
    tables = [pyarrow.table(BLOCK_OF) for _ in range(ROWS // BLOCK)]
    return pyarrow.concat_tables(tables).combine_chunks()


def numpy_concatenated() -> object:
    return [numpy.concatenate([values] * (ROWS // BLOCK)) for values in BLOCK_OF.values()]


def run() -> Iterator[Ratio]:
    frame = appended()
    yield compare("append 10 M rows by blocks", appended, "numpy.concatenate", numpy_concatenated)
    small = zarnik.DataFrameView.from_dict({name: values[:10] for name, values in BLOCK_OF.items()})
    yield compare("column of 10 M rows", lambda: frame["area"], "of 10 rows", lambda: small["area"], aim=1.5)
    stream, of_ten = frame.__arrow_c_stream__, small.__arrow_c_stream__
    yield compare("Arrow stream of 10 M rows", stream, "of 10 rows", of_ten, aim=1.5)

    texts = zarnik.DataFrameView.from_dict({"text": TEXTS})
    taken = lambda: zarnik.DataFrameView.from_dict({"text": TEXTS})  # noqa: E731
    given = lambda: texts["text"]  # noqa: E731
    yield compare("1 M texts in", taken, "numpy.array", lambda: numpy.array(TEXTS))
    yield compare("1 M texts out", given, "list", lambda: [text + "" for text in TEXTS])
    if pandas is None:
        return

    yield compare("append 10 M rows by blocks", appended, "pandas.concat", concatenated, aim=1)
    yield compare("append 10 M rows by blocks", appended, "pyarrow, chunks combined", chunked)
    frame_of_pandas, table = pandas.DataFrame(frame.to_dict()), pyarrow.table(frame)
    yield compare("column of 10 M rows", lambda: frame["area"], "pandas", lambda: frame_of_pandas["area"].to_numpy())
    yield compare("column of 10 M rows", lambda: frame["area"], "pyarrow", lambda: table["area"].chunk(0).to_numpy())
    yield compare("Arrow stream of 10 M rows", stream, "pyarrow", table.__arrow_c_stream__)
    yield compare(
        "table from Arrow", lambda: zarnik.DataFrameView.from_arrow(table), "pyarrow", lambda: pyarrow.table(frame)
    )
    array = pyarrow.array(TEXTS, pyarrow.large_string())
    in_pyarrow = lambda: pyarrow.array(TEXTS, pyarrow.large_string())  # noqa: E731
    yield compare("1 M texts in", taken, "pyarrow", in_pyarrow, aim=1.5)
    yield compare("1 M texts out", given, "pyarrow", array.to_pylist, aim=1.25)
