"""Finds what looks like a link and is none to some sites: inside comments within a line, and inside mathematics."""

from __future__ import annotations

import re
from bisect import bisect_right
from collections.abc import Iterator
from functools import lru_cache
from typing import NamedTuple

from docmap.facts import (
    BRACKETED,
    DISPLAYED,
    DOUBLY_BRACKETED,
    ENVIRONMENT,
    MATHEMATICS,
    NOTE_COMMENT,
)
from docmap.inline import CodeSpans
from docmap.ranges import Ranges
from docmap.source import Source

_LINK = re.compile(rb"\[\[([^\[\]\n]+)\]\]|\]\([ \t]*<?([^\s()<>]+)")
# What begins mathematics with a backslash.
_BACKSLASHED = re.compile(rb"\\(?:[(\[]|begin\{)")
# Signs without which there is nothing that looks like a link.
_BRACKETS = re.compile(rb"\]\(|\[\[|\]\[|\[\^")
# Each alternative begins with one character, outside of groups: `re` then skips what begins with none of these.
# Mathematics within a line ends at the next "$" or not at all, so that no "$" is looked for twice.
_TOKEN = re.compile(
    rb"""\\\\(?P<twice>[(\[])
      | \\(?P<once>[(\[])
      | \\begin\{(?P<begin>(?:equation|multline|gather|align(?:at)?|flalign|eqnarray|[pbBvV]?matrix)\*?)\}
      | \\[!-/:-@\[-`{-~]
      | `(?P<ticks>`*)
      | %%(?P<comment>)
      | \$\$(?P<block>)
      | \$(?P<line>(?![\s$])[^$\\\n]*(?:\\.[^$\\\n]*)*(?<!\s)\$(?!\d))
      | \[\[(?P<wiki>[^\[\]\n]+)\]\]
      | \]\([ \t]*<?(?P<link>[^\s()<>]+)
    """,
    re.VERBOSE,
)


# What each kind is to sites, by the group that finds where it begins.
_KINDS = {
    "comment": NOTE_COMMENT,
    "line": MATHEMATICS,
    "block": DISPLAYED,
    "once": BRACKETED,
    "twice": DOUBLY_BRACKETED,
    "begin": ENVIRONMENT,
}
_OTHER_SIDE = bytes.maketrans(b"([", b")]")


class Target(NamedTuple):
    """The target of a link as written, where it stands (in bytes), and the kind of what it stands in, if any."""

    position: int
    written: bytes
    is_wiki: bool
    inside: str | None


class Region(NamedTuple):
    """Bytes that are a comment or mathematics to some sites."""

    begin: int
    end: int
    kind: str


def read_regions(source: Source) -> Iterator[Target | Region]:
    """Where comments and mathematics are outside of code blocks, and the targets of all links.

    Nothing is found in a document that has neither comments nor mathematics.
    """
    if not _may_have_regions(source):
        return
    data, code = source.data, source.code
    closers: dict[bytes, _Closers] = {}
    blanks = [match.start() for match in re.finditer(rb"\n[ \t>]*\n", data)]

    def same_paragraph(start: int, end: int) -> bool:
        return bisect_right(blanks, start) == bisect_right(blanks, end)

    ticks = CodeSpans(data, len(data))
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
                closer = token[0].translate(_OTHER_SIDE).replace(rb"\begin", rb"\end")
                if closer not in closers:
                    closers[closer] = _Closers(data, closer, code)
                closed = closers[closer].end(position)
                if closed is None or not (same_paragraph(start, closed) or _begins_line(data, start)):
                    continue
                position = closed
            yield Region(start, position, _KINDS[kind])
            for link in _LINK.finditer(data, start, position):
                yield Target(link.start(), link[link.lastindex or 0], link.lastindex == 1, _KINDS[kind])


def _may_have_regions(source: Source) -> bool:
    """Whether something that looks like a link may stand in a comment or in mathematics; few documents have either."""
    data, signs = source.data, source.signs
    if not (b"](" in signs or b"[[" in signs or b"][" in signs or b"[^" in signs):
        return False
    if (b"%%" in signs and b"%%" in data) or (b"$$" in signs and b"$$" in data):
        return True
    if b"\\" in signs and _BACKSLASHED.search(data):
        return True
    start = data.find(b"$")
    # A "$" closes within its line, and most lines that hold one are of programs.
    while start >= 0:
        end = data.find(b"\n", start)
        last = data.rfind(b"$", start, end if end >= 0 else len(data))
        if last > start and _BRACKETS.search(data, start, last):
            return True
        start = data.find(b"$", end) if end >= 0 else -1
    return False


def _begins_line(data: bytes, position: int) -> bool:
    while data[position - 1 : position] in {b" ", b"\t"}:
        position -= 1
    return data[position - 1 : position] in {b"", b"\n"}


@lru_cache(64)
def _literal(signs: bytes) -> re.Pattern[bytes]:
    return re.compile(re.escape(signs))


class _Closers:
    """Where something that some signs close ends. Positions asked for only grow."""

    def __init__(self, data: bytes, signs: bytes, code: Ranges) -> None:
        self._found = (match.end() for match in code.matches_outside(_literal(signs), data))
        self._length = len(signs)
        self._next: int | None = 0

    def end(self, position: int) -> int | None:
        """The end of the first closer that begins at a position or after it; None where there is none."""
        while self._next is not None and self._next < position + self._length:
            self._next = next(self._found, None)
        return self._next
