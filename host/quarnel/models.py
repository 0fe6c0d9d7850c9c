"""The record that an engine makes of each symbol of a file."""

from __future__ import annotations

from dataclasses import dataclass


@dataclass(frozen=True, slots=True)
class Symbol:
    """A named range of lines; lines count from 1, and both ends belong to the range."""

    id: int | None
    file_id: int
    name: str
    kind: str
    fqn: str
    start_line: int
    end_line: int
    signature: str
    is_export: bool
    docstring: str | None
