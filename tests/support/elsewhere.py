"""What the tests let other processes do; these import it by its name."""

import os
import pickle
from typing import Any


def seen(image: Any) -> tuple[Any, ...]:
    """What an image that arrived tells of itself, and its elements."""
    return image.to_numpy(copy=True), image.axes, repr(image.properties), image.metadata.to_dict()


def seen_of_pickle(data: bytes) -> tuple[Any, ...]:
    return seen(pickle.loads(data))


def total(image: Any) -> tuple[int, int]:
    return os.getpid(), int(image.to_numpy().sum())


def accessors(data: bytes, count: int) -> tuple[bool, list[int]]:
    """Whether so many accessors that arrived are one, and the requests that reading through each made."""
    found = [pickle.loads(data) for _ in range(count)]
    requests = []
    for access in found:
        access.read(0, 1000)
        requests.append(access.http_counters()["requests"])
    return all(access is found[0] for access in found), requests


def mark(image: Any, value: int, step: int) -> None:
    """Write to every so many rows, again and again, as others do to the rows between."""
    for _ in range(20):
        for row in range(value, image.shape[0], step):
            image[row] = value
