"""How long operations tell how far they are: `progress` is None, True for a bar, or a function."""

from __future__ import annotations

import contextlib
from collections.abc import Iterator
from typing import Any, Callable, Union

#: Nobody; a bar of tqdm; or what takes the units that are done and their total, some times a second and at the end,
#: by whatever thread works. What it raises ends the operation, which then leaves nothing half-made.
Progress = Union[None, bool, Callable[[int, int], Any]]


@contextlib.contextmanager
def listener(progress: Progress, description: str, unit: str = "B") -> Iterator[Callable[[int, int], Any] | None]:
    """Give the function to be called with what is done and the total; None if nobody wants to know.

    :param description: What the bar says before it, such as "copying".
    :param unit: What is counted; bytes are shown as KiB, MiB, ...
    :raises ImportError: if a bar is asked for, and tqdm is not installed.
    """
    if progress is None or progress is False:
        yield None
        return
    if progress is not True:
        if not callable(progress):
            raise TypeError(f"progress is None, True or a function of done and total, got {progress!r}")
        yield progress
        return
    try:
        from tqdm.auto import tqdm
    except ImportError as error:
        raise ImportError('progress bars need tqdm: pip install "zarnik[progress]"') from error
    in_bytes = {"unit_scale": True, "unit_divisor": 1024} if unit == "B" else {}
    with tqdm(desc=description, unit=unit, **in_bytes) as bar:

        def show(done: int, total: int) -> None:
            bar.total = total
            bar.update(done - bar.n)

        yield show
