"""Timing in paired rounds: the candidates alternate, and the result is the ratio of their times within a round."""

from __future__ import annotations

import gc
import statistics
import time
from collections.abc import Callable, Sequence
from contextlib import contextmanager
from typing import NamedTuple

# Processor time and not elapsed time: other programs on the machine interrupt us, and that is no cost of the engine.
clock = time.thread_time


class Spread(NamedTuple):
    """The median of some values and the quartiles around it."""

    median: float
    low: float
    high: float

    def __str__(self) -> str:
        return f"{self.median:.2f} ({self.low:.2f}-{self.high:.2f})"


def spread(values: Sequence[float]) -> Spread:
    """Return the median and the quartiles of the values; for fewer than three values, the median and the extremes."""
    if len(values) < 3:
        return Spread(statistics.median(values), min(values), max(values))
    low, median, high = statistics.quantiles(values, method="inclusive")
    return Spread(median, low, high)


def ratios(upper: Sequence[float], lower: Sequence[float]) -> Spread:
    """Return the spread of the ratios within each round."""
    return spread([above / below for above, below in zip(upper, lower, strict=True)])


@contextmanager
def quiet():
    """Keep the garbage collector from running while something is timed."""
    gc.collect()
    gc.freeze()
    gc.disable()
    try:
        yield
    finally:
        gc.enable()
        gc.unfreeze()


def timed(call: Callable[[], object]) -> float:
    """Return the seconds that one call takes."""
    begin = clock()
    call()
    return clock() - begin


def alternate(rounds: int, *candidates: Callable[[], float]) -> list[list[float]]:
    """Let each candidate time itself once in each round. The order of the candidates is reversed every second round."""
    times: list[list[float]] = [[] for _ in candidates]
    for turn in range(rounds):
        order = range(len(candidates))
        for index in order if turn % 2 == 0 else reversed(order):
            times[index].append(candidates[index]())
    return times


def table(header: Sequence[str], rows: Sequence[Sequence[str]]) -> str:
    """Lay out rows of text under a header, the first column to the left, all others to the right."""
    widths = [max(map(len, column)) for column in zip(header, *rows, strict=True)]
    lines = []
    for row in (header, ["-" * width for width in widths], *rows):
        cells = [cell.rjust(width) for cell, width in zip(row, widths, strict=True)]
        cells[0] = row[0].ljust(widths[0])
        lines.append("  ".join(cells).rstrip())
    return "\n".join(lines)
