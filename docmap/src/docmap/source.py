"""The text of a document in UTF-8, as what reads it by patterns needs it: its lines, and where it is code."""

from __future__ import annotations

import re
from array import array
from bisect import bisect_right
from collections.abc import Iterator, Sequence
from io import BytesIO
from itertools import accumulate

from docmap.ranges import Ranges

# All but line feeds and the punctuation that signs are made of.
_NO_SIGN = bytes(byte for byte in range(256) if byte not in b"\n!$%():<=?@[\\]^{}~")


class Source:
    """The bytes of a document; lines count from 1, rows from 0.

    `signs` is what is left of them, a tenth, without all but the punctuation "!$%():<=?@[\\]^{}~" and line feeds, with
    one in front. Most signs of such characters are in few documents, and what has none in `signs` has none in `data`;
    signs stand side by side there that do not in the text.
    """

    def __init__(self, data: bytes) -> None:
        self.data = data
        self.signs = b"\n" + data.translate(None, _NO_SIGN)
        # Fenced code blocks, and these together with the indented ones; known once the tree has been walked.
        self.fences = self.code = Ranges(())
        self._starts: Sequence[int] | None = None

    def line_of(self, position: int) -> int:
        """The line that a byte is in."""
        return bisect_right(self._begins(), position)

    def begin_of(self, row: int) -> int:
        """Where a row begins; the end of the document for those after its last."""
        begins = self._begins()
        return begins[row] if row < len(begins) else len(self.data)

    def _begins(self) -> Sequence[int]:
        if self._starts is None:
            # An array, since a list would hold an object for every line.
            self._starts = array("Q", [0])
            # Lines of such a file end with a line feed alone.
            self._starts.extend(accumulate(map(len, BytesIO(self.data))))
        return self._starts

    def find_lines(self, pattern: re.Pattern[bytes]) -> Iterator[tuple[int, re.Match[bytes]]]:
        """Where lines begin that a pattern which begins with a newline matches, and the matches."""
        for match in pattern.finditer(b"\n" + self.data):
            # The newline put in front makes up for the one that is matched.
            yield match.start(), match

    def is_inside_code(self, position: int) -> bool:
        """Whether a byte is in code below the line that opens it."""
        code = self.code.around(position)
        if code is None:
            return False
        begin, _ = code
        is_fenced = self.data[begin : begin + 1] in {b"`", b"~"}
        return not is_fenced or self.line_of(begin) != self.line_of(position)


def text_of(data: bytes) -> str:
    """The text of some bytes of a document."""
    return data.decode("utf-8", "replace")
