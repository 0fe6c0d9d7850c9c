"""The anchors of a document, compared so leniently that every common way of making them agrees."""

from __future__ import annotations

import html
import re
import unicodedata
from collections import Counter
from collections.abc import Iterable, Iterator
from dataclasses import dataclass
from types import SimpleNamespace
from typing import cast

from quarnel.models import Symbol
from tree_sitter import Node

from docmap.reading import sections_of
from docmap.templates import may_bring_headings

_HEADINGS = frozenset({"atx_heading", "setext_heading"})
_CODE = frozenset({"fenced_code_block", "indented_code_block"})
_LEAVES = frozenset({"inline", "pipe_table", "html_block", "link_reference_definition"})

_ID_ATTRIBUTE = re.compile(
    r"""\b(?:id|name)\s*=\s*\{?(?:"([^"\n]*)"|'([^'\n]*)'|([^\s"'<>{}]+))""", re.IGNORECASE
)
# Here and below, what follows a repeated set begins with none of the set: else a document made for it would
# be read in the square of its length.
_ID_IN_BRACES = re.compile(r"\{[^{}\n#]*#([^\s{}#]+)(?:(?:[^\S\n]|#)[^{}\n]*)?\}")
_LABEL = re.compile(r"^\(([^()\s]+)\)=[ \t]*$", re.MULTILINE)
_HEADING_TAG = re.compile(r"<(/?)h([1-6])\b[^<>]*>", re.IGNORECASE)
_LONGEST_HTML_HEADING = 500
# A term of a definition list: the line above one that opens with a colon.
_TERM = re.compile(r"^([^\s:|>#-][^\n]*)\n(?:[ \t]*\n)?:[ \t]", re.MULTILINE)
_TAG = re.compile(r"<[^<>]*>")
_TRAILING_BRACES = re.compile(r"(?<!\s)\s*\{[^{}]*\}\s*$")
_EMOJI_NAME = re.compile(r":[\w+-]+:")
_BEFORE_LETTERS = re.compile(r"^[\W\d_]+")
_NUMBERED = re.compile(r"(.+?)[-_](\d{1,4})")
_SLUG_DROPS = re.compile(r"[^\w\- ]")

# Decomposing sorts each run of combining marks by inserting; no name that is compared is longer than this.
_LONGEST_NAME = 1000

# Anchors that a host or a browser makes: lines of a source file, the top, text fragments, footnotes,
# routes and settings of a program on the page.
_NOT_OURS = re.compile(
    r"""l\d+(?:c\d+)?(?:-l?\d+(?:c\d+)?)?
      | top | :~:.* | (?:user-content-)?fn(?:ref)?[\d:._-].* | (?:foot|cite)[-_]?note.* | [!/?].* | .*[=/].*
    """,
    re.VERBOSE | re.IGNORECASE,
)


def slug(name: str) -> str:
    """The anchor that the large code hosts make of a heading's text, without a number for repeats."""
    return _SLUG_DROPS.sub("", name.strip().lower()).replace(" ", "-")


def squash(text: str) -> str:
    """Letters and digits of `text`, case and accents dropped: the same for all slugs of one heading."""
    return "".join(filter(str.isalnum, unicodedata.normalize("NFKD", text[:_LONGEST_NAME].casefold())))


def is_judged(anchor: str) -> bool:
    """Whether an anchor is one that the text of a document can be expected to hold."""
    return _NOT_OURS.fullmatch(anchor) is None and squash(anchor) != ""


@dataclass(frozen=True)
class Anchors:
    """The anchors of one document; `open` when a template may bring more that its text does not show."""

    # How many headings each squashed name stands for; ids of HTML and of attributes are among them.
    keys: dict[str, int]
    slugs: tuple[str, ...]
    open: bool

    def has(self, anchor: str) -> bool:
        """Whether the document has the anchor, or could have it."""
        if self.open or not is_judged(anchor):
            return True
        anchor = anchor.removeprefix("user-content-")
        if squash(anchor) in self.keys:
            return True
        numbered = _NUMBERED.fullmatch(anchor)
        if numbered is None:
            return False
        # Repeats are numbered; some generators give the second of them 1, some 2.
        repeats = self.keys.get(squash(numbered[1]), 0)
        return repeats > 1 and int(numbered[2]) <= repeats


def find_anchors(root: Node, text: str, sections: Iterable[Symbol]) -> Anchors:
    """Return the anchors of a document with this block tree, text and outline."""
    headings, code_rows = _headings_and_code(root)
    rows = {node.start_point[0] for node in headings}
    # The title that front matter gives is a section of the outline, but no heading of the page.
    names = [section.name for section in sections if section.start_line - 1 in rows]
    outlined = {section.start_line - 1 for section in sections}
    nested = [node for node in headings if node.start_point[0] not in outlined]
    if nested:
        names += [section.name for section in _as_outline(nested, text)]
    names += map(_without_tags, _html_headings(text))
    names += [match[1] for match in _TERM.finditer(text)]
    ids = list(_ids(text))
    keys = Counter(key for name in names for key in _keys(name))
    for id_ in ids:
        keys.setdefault(squash(id_), 1)
    lines = (line for row, line in enumerate(text.split("\n")) if row not in code_rows)
    return Anchors(dict(keys), (*dict.fromkeys(map(slug, names)), *ids), may_bring_headings(text, lines))


def _headings_and_code(root: Node) -> tuple[list[Node], set[int]]:
    """All headings of the tree, those in block quotes and list items too, and the rows of code blocks."""
    headings: list[Node] = []
    code_rows: set[int] = set()
    nodes = [root]
    while nodes:
        node = nodes.pop()
        if node.type in _HEADINGS:
            headings.append(node)
        elif node.type in _CODE:
            code_rows.update(range(node.start_point[0], node.end_point[0]))
        elif node.type not in _LEAVES:
            nodes.extend(reversed(node.children))
    return headings, code_rows


def _as_outline(headings: list[Node], text: str) -> list[Symbol]:
    """The sections that headings would make at the top level; the engine reads nodes by four attributes."""
    document = SimpleNamespace(type="document", children=headings, start_point=(0, 0), text=b"")
    return sections_of(cast(Node, document), text, "")


def _keys(name: str) -> set[str]:
    """The squashed forms of a heading's anchors: generators differ in what they take for its text."""
    plain = html.unescape(name)
    forms = {name, plain, _without_tags(name), _TRAILING_BRACES.sub("", name), _EMOJI_NAME.sub("", name)}
    forms |= {_BEFORE_LETTERS.sub("", form) for form in forms}
    forms |= {form.encode("ascii", "ignore").decode() for form in forms}
    return {key for form in forms if (key := squash(form))}


def _without_tags(text: str) -> str:
    return _TAG.sub("", text)


def _html_headings(text: str) -> Iterator[str]:
    opened: re.Match[str] | None = None
    for tag in _HEADING_TAG.finditer(text):
        if not tag[1]:
            opened = tag
        elif opened is not None and opened[2] == tag[2]:
            if tag.start() - opened.end() <= _LONGEST_HTML_HEADING:
                yield text[opened.end() : tag.start()]
            opened = None


def _ids(text: str) -> Iterator[str]:
    for match in _ID_ATTRIBUTE.finditer(text):
        yield match[1] or match[2] or match[3] or ""
    for pattern in (_ID_IN_BRACES, _LABEL):
        for match in pattern.finditer(text):
            yield match[1]
