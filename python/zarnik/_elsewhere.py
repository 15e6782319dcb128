"""Files and folders that are saved where fsspec reaches: object stores, and what else has addresses."""

from __future__ import annotations

import os
from collections.abc import Callable, Iterator
from typing import Any

import zarnik._classes as _classes

# What makes a folder of objects an image: these come last, so that a part of one is none.
_DESCRIPTIONS = frozenset(("zarr.json", ".zgroup", ".zarray", ".zattrs", ".zmetadata"))


def put(make: Callable[[str], None], address: str, is_of_format: Callable[[], bool]) -> None:
    """Save something locally, and put it to an address.

    Object stores cannot exchange folders at once: a folder that is there is removed when the new one is complete
    locally, and descriptions are put last.

    :param make: Writes the file or folder of a path, whose name is that of the address.
    :param is_of_format: Asked if a folder is there, which is removed then.
    :raises Error: if a folder of something else is there, or it cannot be written.
    """
    import tempfile

    system, place = _system_of(address)
    with tempfile.TemporaryDirectory(prefix="zarnik-") as folder:
        local = os.path.join(folder, address.split("?")[0].rstrip("/").rpartition("/")[2])
        make(local)
        try:
            if system.isdir(place):
                if not is_of_format():
                    raise _classes.Error(f"cannot write {address!r}: a folder is there that is nothing of this format")
                system.rm(place, recursive=True)
            if os.path.isdir(local):
                names = sorted(_names(local), key=lambda name: (os.path.basename(name) in _DESCRIPTIONS, -len(name)))
                targets = ["/".join((place, name.replace(os.sep, "/"))) for name in names]
                described = sum(os.path.basename(name) not in _DESCRIPTIONS for name in names)
                sources = [os.path.join(local, name) for name in names]
                system.put(sources[:described], targets[:described])
                system.put(sources[described:], targets[described:])
            else:
                system.put_file(local, place)
        except (OSError, ValueError, NotImplementedError) as error:
            raise _classes.Error(f"cannot write {address!r}: {error}") from error


def _system_of(address: str) -> tuple[Any, str]:
    if address.lower().startswith(("http:", "https:")):
        raise _classes.NotImplemented(f"cannot write {address!r}: what a web server has is read only")
    try:
        import fsspec
    except ImportError:
        raise _classes.Error(f'{address!r} needs fsspec: pip install "zarnik[remote]" installs it') from None
    try:
        system, place = fsspec.core.url_to_fs(address)
    except (OSError, ValueError, ImportError) as error:
        raise _classes.Error(f"cannot write {address!r}: {error}") from error
    return system, place.rstrip("/")


def _names(folder: str) -> Iterator[str]:
    for place, _, files in os.walk(folder):
        for name in files:
            yield os.path.relpath(os.path.join(place, name), folder)
