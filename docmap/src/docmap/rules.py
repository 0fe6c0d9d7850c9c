"""The two rules that docmap passes to the engine: how repeated FQNs are numbered, and where a docstring is cut."""

from __future__ import annotations

LONGEST_DOCSTRING = 1000
_CUT = "..."


class FqnNumbering:
    """Makes the FQNs of one file unique: the first X stays X, repeats become X#2, X#3, ..."""

    def __init__(self) -> None:
        # How often each FQN was asked for, so that n repeats cost n steps; those given as a number are among them.
        self._asked: dict[str, int] = {}

    def __call__(self, fqn: str) -> str:
        """Return `fqn`, numbered when it was given before; no string is returned twice."""
        unique = fqn
        # A heading may itself be called "X#2", so a numbered FQN can be taken as well.
        while unique in self._asked:
            self._asked[fqn] += 1
            unique = f"{fqn}#{self._asked[fqn]}"
        self._asked[unique] = 1
        return unique


def cap_docstring(text: str) -> str:
    """Return `text`, cut to LONGEST_DOCSTRING characters, the last of them "..." when it was cut."""
    return text if len(text) <= LONGEST_DOCSTRING else text[: LONGEST_DOCSTRING - len(_CUT)] + _CUT
