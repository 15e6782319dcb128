"""Files that are far away, read in larger and larger steps."""

from __future__ import annotations

import io
from typing import TYPE_CHECKING, Any

from zarnik import _direct

if TYPE_CHECKING:
    from zarnik._classes import RandomAccess

_FIRST_STEP, _LONGEST_STEP = 1 << 16, 1 << 22


class ReadAhead(io.RawIOBase):
    """A file over an accessor that takes its time for each request, for those who read it from the front to the back.

    Headers that lie between the elements, as the directories of a TIFF do, each of which tells where the next one is,
    would take a request each. As long as the next place is near, what lies between is received with them, in twice as
    many bytes each time: it is not further than a request costs, and is what will be read later from the cache.
    """

    def __init__(self, access: RandomAccess) -> None:
        self._access: Any = access
        self._size = len(access)
        self._gap = int(_direct.http_options()["gap_bytes"])
        self._place = self._begin = 0
        self._window = b""
        self._step = _FIRST_STEP

    def readable(self) -> bool:
        return True

    def seekable(self) -> bool:
        return True

    def seek(self, offset: int, whence: int = io.SEEK_SET) -> int:
        place = offset + {io.SEEK_SET: 0, io.SEEK_CUR: self._place, io.SEEK_END: self._size}[whence]
        if place < 0:
            raise ValueError(f"cannot seek to byte {place}")
        self._place = place
        return place

    def tell(self) -> int:
        return self._place

    def readinto(self, buffer: Any) -> int:
        if not 0 <= self._place - self._begin < len(self._window):
            self._fetch()
        begin = self._place - self._begin
        part = self._window[begin : begin + len(buffer)]
        buffer[: len(part)] = part
        self._place += len(part)
        return len(part)

    def _fetch(self) -> None:
        beyond = self._place - (self._begin + len(self._window))
        if self._window and 0 <= beyond <= self._gap:
            self._step = min(2 * self._step, _LONGEST_STEP)
        elif beyond > 0:
            self._step = _FIRST_STEP
        # What lies before was fetched already, or is wanted for itself.
        size = self._step if beyond >= 0 else _FIRST_STEP
        self._begin, self._window = self._place, self._access.read(self._place, size)
