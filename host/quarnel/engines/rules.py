"""The two rules that the host shares among its engines: numbering repeated FQNs, capping docstrings."""

from __future__ import annotations

MAX_DOCSTRING_LENGTH = 1000
_CUT = "..."


class FqnNumbering:
    """Makes the FQNs of one file unique: the first X stays X, repeats become X#2, X#3, ..."""

    def __init__(self) -> None:
        self._given: set[str] = set()
        # For each FQN, the last number that was given: the search goes on from there, so n repeats take n steps.
        self._numbers: dict[str, int] = {}

    def __call__(self, fqn: str) -> str:
        """Return `fqn`, numbered when it was given before; no string is returned twice."""
        number = self._numbers.get(fqn, 0) + 1
        unique = fqn if number == 1 else f"{fqn}#{number}"
        # A heading may itself be called "X#2", so a numbered FQN can be taken as well.
        while unique in self._given:
            number += 1
            unique = f"{fqn}#{number}"
        self._numbers[fqn] = number
        self._given.add(unique)
        return unique


def cap_docstring(text: str) -> str:
    """Return `text`. When it is longer than MAX_DOCSTRING_LENGTH, cut it to that length, with "..." at the end."""
    if len(text) <= MAX_DOCSTRING_LENGTH:
        return text
    return text[: MAX_DOCSTRING_LENGTH - len(_CUT)] + _CUT
