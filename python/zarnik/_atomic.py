"""Files and folders that are written whole or not at all."""

from __future__ import annotations

import contextlib
import os
import sys
from collections.abc import Callable, Iterator

import zarnik._classes as _classes

# Beyond so many files all disks are synchronized at once, which takes less time than one file after the other.
_FILES_ONE_BY_ONE = 256
# Of renameat2: both names stay, each with what the other had.
_EXCHANGE = 2


@contextlib.contextmanager
def replaced(path: str, suffix: str = "", may_replace_folder: Callable[[], bool] = lambda: False) -> Iterator[str]:
    """Give a name beside a path; what is written there, a file or a folder, takes the path's place in the end.

    It is synchronized with the disk first. Whatever happens, the path has what it had before or all that is new.

    :param suffix: How the name is to end.
    :param may_replace_folder: Asked if the path is a folder, which is removed then.
    :raises Error: if that is not allowed, or nothing can be written there.
    """
    import secrets

    folder, name = os.path.split(os.path.abspath(path))
    if not os.path.isdir(folder):
        raise _classes.Error(f"cannot write {path!r}: {os.strerror(2 if not os.path.exists(folder) else 20)}")
    if os.path.isdir(path) and not os.path.islink(path) and not may_replace_folder():
        raise _classes.Error(f"cannot write {path!r}: a folder is there that is nothing of this format")
    stem = name[: len(name) - len(suffix)] if suffix else name
    part = os.path.join(folder, f".{stem}.{secrets.token_hex(4)}.part{suffix}")
    try:
        yield part
        _synchronize(part)
        _take_place(part, path)
    except OSError as error:
        remove(part)
        raise _classes.Error(f"cannot write {path!r}: {error.strerror or error}") from error
    except BaseException:
        remove(part)
        raise
    _synchronize_entry(folder)


def remove(path: str) -> None:
    """Remove a file or a folder, if it is there."""
    if os.path.isdir(path) and not os.path.islink(path):
        import shutil

        shutil.rmtree(path, ignore_errors=True)
    else:
        with contextlib.suppress(FileNotFoundError):
            os.unlink(path)


def _take_place(part: str, path: str) -> None:
    if not os.path.isdir(part) and not (os.path.isdir(path) and not os.path.islink(path)):
        os.replace(part, path)
    elif not os.path.lexists(path):
        os.rename(part, path)
    elif _exchange(part, path):
        remove(part)
    else:
        # Where the system cannot do it at once, there is a moment without either.
        aside = part + ".old"
        os.rename(path, aside)
        try:
            os.rename(part, path)
        except BaseException:
            os.rename(aside, path)
            raise
        remove(aside)


def _exchange(first: str, second: str) -> bool:
    if not sys.platform.startswith("linux"):
        return False
    import ctypes

    try:
        rename = ctypes.CDLL(None, use_errno=True).renameat2
    except AttributeError:
        return False
    here = -100  # AT_FDCWD
    return bool(rename(here, os.fsencode(first), here, os.fsencode(second), _EXCHANGE) == 0)


def _synchronize(path: str) -> None:
    if not os.path.isdir(path):
        _synchronize_entry(path)
        return
    entries = [path]
    for folder, folders, files in os.walk(path):
        entries += [os.path.join(folder, name) for name in (*folders, *files)]
        if len(entries) > _FILES_ONE_BY_ONE and hasattr(os, "sync"):
            os.sync()
            return
    for entry in entries:
        _synchronize_entry(entry)


def _synchronize_entry(path: str) -> None:
    descriptor = os.open(path, os.O_RDONLY | getattr(os, "O_CLOEXEC", 0))
    try:
        os.fsync(descriptor)
    finally:
        os.close(descriptor)
