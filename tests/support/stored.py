"""Stored objects taken apart and put together after the description of their format, without the library."""

from __future__ import annotations

import struct
from typing import Any

import numpy
import xxhash

MAGIC = bytes.fromhex("895a524e0d0a1a0a")
KINDS = {1: "vector", 2: "array", 3: "matrix", 4: "image", 5: "data frame"}
PRIMITIVES = {1: "u", 2: "i", 3: "f"}
TEXTS = {0x40108: (1, "utf-8"), 0x40110: (2, "utf-16-le"), 0x40120: (4, "utf-32-le")}


def hash_of(data: bytes) -> bytes:
    return struct.pack("<Q", xxhash.xxh3_64_intdigest(data))


def dtype_of(identifier: int) -> numpy.dtype[Any]:
    components = identifier >> 8 & 0xFF
    scalar = numpy.dtype(f"<{PRIMITIVES[identifier >> 16 & 0xFFFF]}{(identifier & 0xFF) // 8}")
    return scalar if components == 1 else numpy.dtype((scalar, components))


class Cursor:
    def __init__(self, data: bytes) -> None:
        self.data, self.at = data, 0

    def take(self, size: int) -> bytes:
        assert self.at + size <= len(self.data)
        self.at += size
        return self.data[self.at - size : self.at]

    def get(self, form: str) -> Any:
        values = struct.unpack("<" + form, self.take(struct.calcsize("<" + form)))
        return values[0] if len(values) == 1 else values

    def many(self, form: str) -> list[Any]:
        return [self.get(form) for _ in range(self.get("Q"))]

    def text(self) -> str:
        return self.take(self.get("Q")).decode()


def sections(data: bytes) -> tuple[str, int, dict[str, list[bytes]], int]:
    """The kind, the type's id and the contents by name of the object that begins there, and its size in bytes."""
    cursor = Cursor(data)
    magic, major, _, kind, dtype, flags, block = struct.unpack("<8sHHIQQQ", cursor.take(40))
    assert (magic, major) == (MAGIC, 1)
    assert cursor.take(8) == hash_of(data[:40])
    found: dict[str, list[bytes]] = {}
    while "END " not in found:
        start = cursor.at
        sync, name, _, zero, length = struct.unpack("<4s4sIIQ", cursor.take(24))
        assert (sync, zero) == (b"ZSYN", 0)
        assert cursor.take(8) == hash_of(data[start : start + 24])
        assert name not in (b"PIXL", b"NCOL") or cursor.at % 64 == 0
        content = cursor.take(length)
        if flags & 1:
            for first in range(0, length, block):
                assert cursor.take(8) == hash_of(content[first : first + block])
        found.setdefault(name.decode(), []).append(content)
    return KINDS[kind], dtype, found, cursor.at


def image(data: bytes) -> dict[str, Any]:
    """All that a stored image tells, its samples with the first dimension fastest."""
    kind, identifier, found, _ = sections(data)
    assert kind == "image"
    cursor = Cursor(found["IMAG"][0])
    result: dict[str, Any] = {"shape": cursor.many("Q"), "axes": cursor.many("I")}
    result["interpretation"], alpha, result["bit_depth"] = cursor.get("IIQ")
    result |= {"alpha": bool(alpha), "range": cursor.get("2d"), "origin": cursor.get("3d"), "spacing": cursor.get("3d")}
    result |= {"column": cursor.get("3d"), "row": cursor.get("3d"), "unit": cursor.text()}
    samples = numpy.frombuffer(found["PIXL"][0], dtype_of(identifier))
    result["samples"] = samples.reshape(*reversed(result["shape"]), *samples.shape[1:])
    result["metadata"] = metadata(found["META"][0]) if "META" in found else None
    return result


def metadata(content: bytes) -> tuple[str, list[Any], list[Any]]:
    """The root as its key, the elements of its value and its children."""
    cursor = Cursor(content)
    nodes: list[tuple[str, list[Any], list[int]]] = []
    for _ in range(cursor.get("Q")):
        key, identifier, values = cursor.text(), cursor.get("Q"), []
        if identifier in TEXTS:
            unit, encoding = TEXTS[identifier]
            values = [cursor.take(unit * cursor.get("Q")).decode(encoding) for _ in range(cursor.get("Q"))]
        elif identifier:
            dtype = dtype_of(identifier)
            values = numpy.frombuffer(cursor.take(cursor.get("Q") * dtype.itemsize), dtype).tolist()
        nodes.append((key, values, cursor.many("Q")))
    trees: dict[int, Any] = {}
    for position in reversed(range(len(nodes))):
        key, values, children = nodes[position]
        trees[position] = (key, values, [trees[child] for child in children])
    return trees[0]


def put_together(kind: int, identifier: int, *contents: tuple[str, bytes], block: int = 1 << 20, **parts: Any) -> bytes:
    """An object of those sections, its hashes right; `parts` are what its header has instead of what is due."""
    header = {"magic": MAGIC, "major": 1, "minor": 0, "flags": 1} | parts
    data = struct.pack(
        "<8sHHIQQQ", header["magic"], header["major"], header["minor"], kind, identifier, header["flags"], block
    )
    data += hash_of(data)
    for name, content in contents:
        data += section(name, len(content)) + content
        data += b"".join(hash_of(content[first : first + block]) for first in range(0, len(content), block))
    return data


def section(name: str, length: int, flags: int = 0) -> bytes:
    """The header of a section."""
    data = struct.pack("<4s4sIIQ", b"ZSYN", name.encode(), flags, 0, length)
    return data + hash_of(data)
