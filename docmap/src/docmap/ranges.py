"""Sets of positions or lines, given as ranges and asked one by one; many of them take no longer than few."""

from __future__ import annotations

import re
from bisect import bisect_right
from collections.abc import Iterable, Iterator


class Ranges:
    """Whole numbers from `begin` to before `end`, of several ranges; those that meet or overlap are one."""

    def __init__(self, ranges: Iterable[tuple[int, int]], *, joined: bool = True) -> None:
        """`joined`: make one range of those that meet or overlap; else they are disjoint and stay apart."""
        self._begins: list[int] = []
        self._ends: list[int] = []
        for begin, end in sorted(ranges):
            if joined and self._ends and begin <= self._ends[-1]:
                self._ends[-1] = max(end, self._ends[-1])
            else:
                self._begins.append(begin)
                self._ends.append(end)

    def around(self, number: int) -> tuple[int, int] | None:
        """The range that a number is in, if it is in one."""
        at = bisect_right(self._begins, number) - 1
        return (self._begins[at], self._ends[at]) if at >= 0 and number < self._ends[at] else None

    def matches_outside(self, pattern: re.Pattern[bytes], data: bytes) -> Iterator[re.Match[bytes]]:
        """The matches of a pattern in `data` that begin in no range; what is in a range is not looked at."""
        match = pattern.search(data)
        while match is not None:
            around = self.around(match.start()) if self._begins else None
            if around is None:
                yield match
            match = pattern.search(data, match.end() if around is None else around[1])

    def __contains__(self, number: int) -> bool:
        at = bisect_right(self._begins, number) - 1
        return at >= 0 and number < self._ends[at]

    def __len__(self) -> int:
        return len(self._begins)
