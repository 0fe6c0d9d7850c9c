"""Finds the links that note programs do not show: those inside comments within a line and inside mathematics."""

from __future__ import annotations

import re
from bisect import bisect_right
from collections.abc import Iterator
from typing import NamedTuple

from docmap.facts import MATHEMATICS, NOTE_COMMENT
from docmap.inline import CodeSpans
from docmap.ranges import Ranges

_WIKI_LINK = re.compile(rb"\[\[([^\[\]\n]+)\]\]")
_LINK = re.compile(_WIKI_LINK.pattern + rb"|\]\([ \t]*<?([^\s()<>]+)")
# Each alternative begins with one character, outside of groups: `re` then skips what begins with none of these.
# Mathematics within a line ends at the next "$" or not at all, so that no "$" is looked for twice.
_TOKEN = re.compile(
    rb"""\\[!-/:-@\[-`{-~]
      | `(?P<ticks>`*)
      | %%(?P<comment>)
      | \$\$(?P<block>)
      | \$(?P<line>(?![\s$])[^$\\\n]*(?:\\.[^$\\\n]*)*(?<!\s)\$)
      | \[\[(?P<wiki>[^\[\]\n]+)\]\]
      | \]\([ \t]*<?(?P<link>[^\s()<>]+)
    """,
    re.VERBOSE,
)


class Target(NamedTuple):
    """The target of a link as written, where it stands (in bytes), and the kind of what it stands in, if any."""

    position: int
    written: bytes
    is_wiki: bool
    inside: str | None


def targets(data: bytes, code: Ranges) -> Iterator[Target]:
    """The targets of links outside of `code`, the bytes of code blocks.

    Nothing is found in a document that has neither comments nor mathematics, which hides wiki links alone.
    """
    if b"%%" not in data and (b"[[" not in data or data.count(b"$") < 2):
        return
    closers = {b"%%": _Closers(data, rb"%%", code), b"$$": _Closers(data, rb"\$\$", code)}
    blanks = [match.start() for match in re.finditer(rb"\n[ \t>]*\n", data)]

    def same_paragraph(start: int, end: int) -> bool:
        return bisect_right(blanks, start) == bisect_right(blanks, end)

    ticks = CodeSpans(data, 0, len(data))
    position = 0
    while (token := _TOKEN.search(data, position)) is not None:
        start, position = token.span()
        around = code.around(start)
        kind = token.lastgroup
        if around is not None:
            position = around[1]
        elif kind == "ticks":
            end = ticks.end(start, position)
            position = end if same_paragraph(start, end) else position
        elif kind in {"wiki", "link"}:
            yield Target(start, token[kind], kind == "wiki", None)
        elif kind is not None:
            if kind != "line":
                # A stray sign within a line must not hide the paragraphs after it.
                closed = closers[token[0]].end(position)
                if closed is None or not (same_paragraph(start, closed) or _begins_line(data, start)):
                    continue
                position = closed
            inside = NOTE_COMMENT if kind == "comment" else MATHEMATICS
            # Mathematics hides wiki links alone: its brackets are often followed by parentheses.
            pattern = _LINK if kind == "comment" else _WIKI_LINK
            for link in pattern.finditer(data, start, position):
                yield Target(link.start(), link[link.lastindex or 0], link.lastindex == 1, inside)


def _begins_line(data: bytes, position: int) -> bool:
    while data[position - 1 : position] in {b" ", b"\t"}:
        position -= 1
    return data[position - 1 : position] in {b"", b"\n"}


class _Closers:
    """Where something that is closed by two equal signs ends. Positions asked for only grow."""

    def __init__(self, data: bytes, pattern: bytes, code: Ranges) -> None:
        self._found = (m.end() for m in re.finditer(pattern, data) if m.start() not in code)
        self._next: int | None = 0

    def end(self, position: int) -> int | None:
        """The end of the first closer that begins at a position or after it; None where there is none."""
        while self._next is not None and self._next < position + 2:
            self._next = next(self._found, None)
        return self._next
