"""How many threads large copies and conversions use."""

from __future__ import annotations

import operator

from zarnik import _direct


def thread_count() -> int:
    """Return how many threads a copy or conversion of some MiB may use, the calling one included.

    The environment variable ZARNIK_NUM_THREADS sets it for a process; without it, it is the number of processors, up
    to 4.
    """
    return _direct.thread_count()


def set_thread_count(count: int) -> None:
    """Set how many threads a copy or conversion of some MiB may use; results are the same for any number.

    :param count: 1 for the calling thread alone, 0 for the number of processors; no more than 256 are used.
    :raises ValueError: if it is negative.
    """
    count = operator.index(count)
    if not 0 <= count < 2**63:
        raise ValueError(f"the number of threads is 0 or above, got {count}")
    _direct.set_thread_count(count)
