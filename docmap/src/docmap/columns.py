"""Finds where in its line a target stands."""

from __future__ import annotations

import os

from docmap.documents import normalise
from docmap.findings import Finding

# One line can hold all findings of a file, and each is looked for from its begin.
_LONGEST_LINE = 100_000


class Columns:
    """Reads a file again for its findings, which is done for few of them; remembers the last file's lines."""

    def __init__(self, root: str) -> None:
        self._root = root
        self._file: str | None = None
        self._lines: list[str] = []

    def __call__(self, finding: Finding) -> int | None:
        """The column of a finding's target, from 1; None where it is not written as it was read."""
        if finding.file != self._file:
            self._file = finding.file
            try:
                with open(os.path.join(self._root, finding.file), "rb") as file:
                    self._lines = normalise(file.read())[0].split("\n")
            except OSError:
                self._lines = []
        line = self._lines[finding.line - 1] if finding.line <= len(self._lines) else ""
        if not finding.target or len(line) > _LONGEST_LINE:
            return None
        # Targets of links are kept decoded.
        return line.find(finding.target) + 1 or line.find(finding.target.replace(" ", "%20")) + 1 or None
