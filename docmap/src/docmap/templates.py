"""What site generators' template languages do to a document before it becomes a page.

A template can make anything, so what it touches is not judged.
"""

from __future__ import annotations

import re
from collections.abc import Iterable

# Braces, angle brackets, "$" and "*" stand in a target only where something is to be filled in.
_FILLED_IN = re.compile(r"[{}<>$*]|%[A-Z_]+%")

# Directives at the start of a line that can bring headings of other files or of a program into the page.
_BRINGS_HEADINGS = re.compile(
    r"""[ \t]*(?:
        \{\{(?!\{)(?![<%]?\s*/)
        (?![<%]\s*(?:code|deprecated|details|figure|highlight|img|new-in|note|tip|warning)\b)
      | \{%-?\s*(?:block|call|content|embed|extends|for|import|include|macro|render|snippet)
      | !\[\[
      | (?:;*)--8<--
      | import\s[^\n]*\sfrom\s
      | <!--\s*@?include
      | @include
      | \[!INCLUDE
    )""",
    re.VERBOSE | re.IGNORECASE,
)
# This one is a fenced block to the grammar, so it is looked for in code as well.
_INCLUDING_FENCE = re.compile(r"^[ \t]*[`:~]{3,}\s*\{?(?:include|mdinclude)\b", re.MULTILINE)

# What stands between these is shown as written or not at all; the grammar takes it for text.
_LITERAL = re.compile(
    r"\{[{%][<%-]?\s*(?:(?P<close>/|end)\s*)?(?P<tag>highlight|comment|raw|verbatim|code[\w-]*)\b"
)


# Where site generators keep the texts that they put into other pages.
_PARTIAL_FOLDERS = frozenset(
    {"_common", "_fragments", "_include", "_includes", "_layouts", "_partials", "_shared", "_snippets"}
)


def is_partial(path: str) -> bool:
    """Whether a file is made to be part of other pages, so that its links start from those."""
    return not _PARTIAL_FOLDERS.isdisjoint(path.casefold().split("/"))


def is_filled_in(target: str) -> bool:
    """Whether a link's target is completed by a template."""
    return _FILLED_IN.search(target) is not None


def may_bring_headings(text: str, lines: Iterable[str]) -> bool:
    """Whether a page can have headings that its text (its `lines` outside code) does not show."""
    return _INCLUDING_FENCE.search(text) is not None or any(map(_BRINGS_HEADINGS.match, lines))


def literal_lines(text: str) -> frozenset[int]:
    """The 1-based numbers of the lines on which what looks like a link may be none."""
    return frozenset(_comment_lines(text) | _literal_tag_lines(text))


def _comment_lines(text: str) -> set[int]:
    lines: set[int] = set()
    line, counted, end = 1, 0, 0
    while (begin := text.find("<!--", end)) >= 0 and (end := text.find("-->", begin)) >= 0:
        line += text.count("\n", counted, begin)
        counted = begin
        lines.update(range(line, line + text.count("\n", begin, end) + 1))
    return lines


def _literal_tag_lines(text: str) -> set[int]:
    tags = [
        (number, tag["tag"], tag["close"] is not None)
        for number, line in enumerate(text.split("\n"), 1)
        for tag in _LITERAL.finditer(line)
    ]
    last_close = {tag: number for number, tag, closes in tags if closes}
    lines: set[int] = set()
    opened: tuple[int, str] | None = None
    for number, tag, closes in tags:
        if opened is None and not closes and last_close.get(tag, 0) >= number:
            opened = number, tag
        elif opened is not None and closes and opened[1] == tag:
            lines.update(range(opened[0], number + 1))
            opened = None
    return lines
