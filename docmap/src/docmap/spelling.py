"""Finds what a misspelt name may have meant."""

from __future__ import annotations

from bisect import bisect_left, bisect_right
from collections.abc import Collection
from difflib import get_close_matches
from functools import cached_property
from math import ceil, floor

# Longer names are whole sentences or no names at all, and comparing two takes the square of their length.
_LONGEST = 100
# About a second. A suggestion is a courtesy: thousands of broken links must not turn it into minutes.
_COMPARISONS = 50_000


class Names:
    """Names that many others are compared with."""

    def __init__(self, names: Collection[str]) -> None:
        self._names = names

    def __len__(self) -> int:
        return len(self._names)

    # Sorted when they are first compared, which few folders are.
    @cached_property
    def _plain(self) -> _ByLength:
        return _ByLength([name for name in self._names if _is_plain(name)])

    @cached_property
    def _others(self) -> _ByLength:
        return _ByLength([name for name in self._names if not _is_plain(name)])

    def of_lengths(self, shortest: float, longest: float) -> tuple[list[str], list[str]]:
        """The names that are no shorter and no longer than this: the plain ones, and the others."""
        return self._plain.between(shortest, longest), self._others.between(shortest, longest)


def _is_plain(name: str) -> bool:
    """Whether a name is one line of ASCII; such names are compared much faster."""
    return name.isascii() and "\n" not in name


class _ByLength:
    """Names sorted by their lengths, so that those of some lengths are found at once."""

    def __init__(self, names: list[str]) -> None:
        self._by_length = sorted(names, key=len)
        self._lengths = [len(name) for name in self._by_length]

    def between(self, shortest: float, longest: float) -> list[str]:
        begin, end = bisect_left(self._lengths, ceil(shortest)), bisect_right(self._lengths, floor(longest))
        return self._by_length[begin:end]


class Spelling:
    """Compares names for as long as one run can afford it, and remembers what it found."""

    def __init__(self, comparisons: int = _COMPARISONS) -> None:
        self._left = comparisons
        self._known: dict[tuple[object, str], str | None] = {}

    def closest(self, name: str, names: Names, cutoff: float, *, of: object = None) -> str | None:
        """Return the one of `names` that is closest to `name`, None when none is close or it costs too much.

        `cutoff`: how alike they must be, from 0 to 1: the `ratio` of difflib's SequenceMatcher.
        `of` says whose names they are; the same question about the same owner is answered once.
        """
        key = of, name
        if of is not None and key in self._known:
            return self._known[key]
        if len(name) > _LONGEST or self._left <= 0:
            return None
        # Names whose lengths differ by more than this cannot be as close as the cutoff asks.
        shortest, longest = len(name) * cutoff / (2 - cutoff), len(name) * (2 - cutoff) / cutoff
        plain, others = names.of_lengths(shortest, longest)
        self._left -= len(plain) + len(others) + len(names) // 20
        near = _with_letters_of(name, plain, cutoff) if _is_plain(name) else plain
        close = get_close_matches(name, [*others, *near], 1, cutoff)
        found = close[0] if close else None
        if of is not None:
            self._known[key] = found
        return found


def _with_letters_of(name: str, plain: list[str], cutoff: float) -> list[str]:
    """The names that have enough letters in common with `name` to be as close as the cutoff asks; all are plain.

    An upper bound of the likeness, found much faster than it: the letters that only one of two names has match nothing.
    """
    letters = name.encode("ascii")
    found = []
    # The letters of all names are compared at once, which is much faster than one name after the other.
    alone = "\n".join(plain).encode("ascii").translate(None, letters).split(b"\n")
    near = [
        other
        for other, rest in zip(plain, alone, strict=False)
        # As the likeness is worked out, so that both round alike.
        if 2.0 * (len(other) - len(rest)) / (len(letters) + len(other)) >= cutoff
    ]
    for other in near:
        ours_alone = letters.translate(None, other.encode("ascii"))
        if 2.0 * (len(letters) - len(ours_alone)) / (len(letters) + len(other)) >= cutoff:
            found.append(other)
    return found


def is_slip(written: str, meant: str) -> bool:
    """Whether a name is most likely another one misspelt: one letter off, or two in a longer one.

    A digit is never a slip: names that are counted differ in one.
    """
    longer = max(len(written), len(meant))
    if longer > _LONGEST or min(len(written), len(meant)) < 5:
        return False
    if [c for c in written if c.isdigit()] != [c for c in meant if c.isdigit()]:
        return False
    return _edits(written.casefold(), meant.casefold()) <= (1 if longer < 8 else 2)


def is_sure_slip(written: str, meant: str) -> bool:
    """Whether a name can hardly be anything but another one misspelt, wherever it comes from: one letter off in a long
    one, and no other number (of things or of digits), case or dash."""
    one, other = written.casefold(), meant.casefold()
    if min(len(one), len(other)) < 10 or one.count("s") != other.count("s"):
        return False
    # One letter changes no more than this, which is seen much faster.
    if abs(len(one) - len(other)) > 1 or len({*one} ^ {*other}) > 2:
        return False
    return is_slip(one, other) and _edits(one, other) == 1 and _words(one) != _words(other)


def _words(name: str) -> str:
    return "".join(filter(str.isalnum, name))


def _edits(one: str, other: str) -> int:
    """How many letters to insert, drop, change or swap to make one name of the other."""
    before: list[int] = []
    row = list(range(len(other) + 1))
    for i, letter in enumerate(one, 1):
        above, before, row = before, row, [i]
        for j, wanted in enumerate(other, 1):
            cost = min(before[j] + 1, row[j - 1] + 1, before[j - 1] + (letter != wanted))
            if i > 1 and j > 1 and letter == other[j - 2] and one[i - 2] == wanted:
                cost = min(cost, above[j - 2] + 1)
            row.append(cost)
    return row[-1]
