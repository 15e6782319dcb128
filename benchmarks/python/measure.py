"""Timing side by side: what is measured and what it is compared with take turns in one run."""

from __future__ import annotations

import time
import timeit
from dataclasses import asdict, dataclass
from typing import Callable, Union

ROUNDS = 11
ROUND_SECONDS = 0.01
# Works that take long to run once get fewer rounds.
FEWEST_ROUNDS = 3
COMPARISON_SECONDS = 0.25


@dataclass
class Ratio:
    """One measurement against its reference."""

    name: str
    """What was measured."""
    reference: str
    """What it is compared with."""
    seconds: float
    """Time of one run of what was measured: the best of the rounds, or a difference of such."""
    reference_seconds: float
    """Time of one run of the reference."""
    aim: float | None = None
    """Largest ratio that is good enough, if there is such an aim."""

    @property
    def ratio(self) -> float:
        return self.seconds / self.reference_seconds

    @property
    def met(self) -> bool:
        return self.aim is None or self.ratio <= self.aim

    def as_dict(self) -> dict[str, object]:
        return {**asdict(self), "ratio": self.ratio, "met": self.met}


def runs_per_round(timer: timeit.Timer) -> int:
    """How many runs fill a round."""
    count = 1
    while True:
        elapsed = timer.timeit(count)
        if elapsed > ROUND_SECONDS / 10:
            return max(1, int(count * ROUND_SECONDS / elapsed))
        count *= 10


Work = Union[str, Callable[[], object]]


Clock = Callable[[], float]


def best_seconds(
    *works: Work, names: dict[str, object] | None = None, clock: Clock = time.thread_time, patience: int = 1
) -> list[float]:
    """Best time of one run of each work: a statement, with the names that it uses, or something to call.

    The works take turns, so that a change of the machine's pace hits all alike. What counts is the processor time of
    this thread, not the time in which other programs had the processor, unless the clock is another one. Patience is a
    multiple of the rounds: what needs fresh memory waits out that of a virtual machine being fetched from its host.
    """
    timers = [timeit.Timer(work, timer=clock, globals=names) for work in works]
    counts = [runs_per_round(timer) for timer in timers]
    best = [float("inf")] * len(works)
    deadline = time.monotonic() + COMPARISON_SECONDS * patience
    for done in range(ROUNDS * patience):
        if done >= FEWEST_ROUNDS and time.monotonic() > deadline:
            break
        # Nobody always comes first: a work may find the memory, or the cache, as the one before it leaves them.
        for i in range(len(works)) if done % 2 == 0 else reversed(range(len(works))):
            best[i] = min(best[i], timers[i].timeit(counts[i]) / counts[i])
    return best


def compare(
    name: str,
    work: Work,
    reference: str,
    reference_work: Work,
    names: dict[str, object] | None = None,
    aim: float | None = None,
    clock: Clock = time.thread_time,
    patience: int = 1,
) -> Ratio:
    """Measures a work against a reference that does the same, or the least, by other means."""
    seconds, reference_seconds = best_seconds(work, reference_work, names=names, clock=clock, patience=patience)
    return Ratio(name, reference, seconds, reference_seconds, aim)
