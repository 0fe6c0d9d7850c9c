"""Reads what the engine does not report of inline Markdown and HTML: images, embeds, elements, labels.

All of it works on UTF-8 bytes, since the positions of a block tree are those of bytes. Each pattern is one pass:
what is repeated ends at the first byte that can also follow, and lengths that could overlap are bounded.
"""

from __future__ import annotations

import html
import re
from collections.abc import Callable, Collection, Iterator
from functools import lru_cache
from typing import NamedTuple
from urllib.parse import unquote

from docmap.directives import LONGEST_ROLE, ROLE, link_of_role
from docmap.facts import (
    EMBED,
    FOOTNOTE,
    HREF,
    IMAGE,
    LABEL,
    LINK,
    SCHEME,
    SHORTCUT,
    SRC,
    TEMPLATE,
    WIKI,
    WWW,
    Link,
)
from docmap.ranges import Ranges

# Web addresses, mail addresses and the like; also "//host/path", which takes over the page's scheme.
_EXTERNAL = re.compile(r"(?:[A-Za-z][A-Za-z0-9+.-]*:|//)")
# What a generator resolves itself.
_OWN_SCHEME = re.compile(r"(?:project|path):")
# Of the links that the engine reports as well, those of which there is more to say.
_MAY_BE_OURS = re.compile(rb"\A[Pp&\\]|[{}%]")
_WEB_NAME = re.compile(r"www\.[\w-]+\.[\w.-]*", re.IGNORECASE)
_ESCAPED = re.compile(r"\\([!-/:-@\[-`{-~])")
_FILLED_IN = re.compile(r"\{\{|\{%|\$\{|<%|\}\}")

_BETWEEN_VALUES = rb"""[^<>"'{}`]*"""
_ATTRIBUTES = (
    _BETWEEN_VALUES
    + rb"""(?:(?:"[^"]{0,4000}"|'[^']{0,4000}'|\{(?:[^{}]|\{[^{}]{0,400}\}){0,400}\})"""
    + _BETWEEN_VALUES
    + rb")*"
)
TAG = re.compile(rb"<(/?)([A-Za-z][\w.:-]*)(?=[\s/>])(" + _ATTRIBUTES + rb")>")
# Names of elements that say nothing by themselves: those of HTML, headings apart.
_PLAIN_NAME = re.compile(rb"(?!h[1-6]\Z)[a-z][a-z0-9_]*")
_ATTRIBUTE = re.compile(
    rb"""(?:^|[\s"'}])(id|name|href|src|to)\s*=\s*(?:\{\s*)?(?:"([^"]*)"|'([^']*)'|`([^`$]*)`|(?<!\{)(?<![{\s])([^\s"'<>{}`]+))""",
    re.IGNORECASE,
)
# Each alternative begins with one character, outside of groups: `re` then skips what begins with none of these.
_TOKEN = re.compile(
    rb"""\\[!-/:-@\[-`{-~]
      | `(?P<ticks>`*)
      | <!--(?P<comment>.*?(?:-->|\Z))
      | <(?P<autolink>[A-Za-z][A-Za-z0-9+.-]{1,31}:[^\s<>]*)>
      | <(?P<tag>(?=/?[A-Za-z]))
      | !\[\[(?P<embed>[^\[\]\n]+)\]\]
      | \[\[[^\[\]\n]+\]\]
      | \[\^(?P<footnote>[^\[\]\s^]+)\](?P<defines>:?)
      | !\[(?P<image>)
      | \[(?P<open>)
      | \](?P<close>)
    """,
    re.VERBOSE | re.DOTALL,
)
_TITLE = rb"""(?:"(?:[^"\\]|\\.)*"|'(?:[^'\\]|\\.)*'|\((?:[^()\\]|\\.)*\))"""
# White space that something follows is taken whole, since what repeats it would be tried at each of its bytes; after
# an empty destination it begins the title or the size.
_DESTINATION = re.compile(
    rb"""\((?:\s*(?!\s)(?:
        <(?P<angled>[^<>\n]*)>
      | (?P<filled>[^\s(){}<>]*(?:\{\{.{0,400}?\}\}|\{%.{0,400}?%\})[^\s()]*)
      | (?P<plain>(?:[^\s()<\\]|\\.|\([^\s()]*\))*)
    )(?:\s+"""
    + _TITLE
    + rb""")?(?:\s+=\S*)?|\s+(?:=\S*|"""
    + _TITLE
    + rb"""(?:\s+=\S*)?)(?P<none>))\s*\)""",
    re.VERBOSE | re.DOTALL,
)
_BACKTICKS = re.compile(rb"`+")
# Linear: each run of backticks that nothing closes is looked for to the end.
_MOST_SEARCHES = 16
_LONGEST_RUN = 16
_DIGITS = re.compile(rb"[0-9]+")
LONGEST_LABEL = 999
_LABEL = re.compile(rb"\[((?:[^\[\]\\]|\\.){0,%d})\]" % LONGEST_LABEL, re.DOTALL)


# Words in brackets with nothing before or after that would make something else of them. What stands before is looked at
# after the bracket, which `re` finds much faster.
_SHORTCUT = re.compile(
    rb"\[(?<![\]\[\\!$@`\w]\[)((?=[\w`*\"\x80-\xff])[^\[\]\n]{2,80})\](?![\[(:{\]]|[ \n][ \t>]{0,20}\[)"
)
_AFTER_BRACKET = re.compile(rb"\][ \t]*\n?[ \t>]*\Z")
_FEWEST_SHORTCUTS = 2
# Names of programs and of their settings.
_OF_PROGRAMS = re.compile(r"\S*\w[._:=/]\w\S*")


class Element(NamedTuple):
    """An HTML element (or component) where it opens: its name and the attributes that matter, in lower case."""

    position: int
    name: str
    attributes: dict[str, str]
    written: str


# Says on which line a byte of the document stands.
LineOf = Callable[[int], int]
# The labels that a document defines, and those of the documents around it, as they compare.
Labels = tuple[frozenset[str], ...]


class Found(NamedTuple):
    """What a run of inline Markdown holds, as far as it is kept; positions are bytes of the document."""

    links: list[tuple[int, Link]]
    elements: list[Element]
    comments: list[tuple[int, int]]


def link_of(form: str, line: int, target: str) -> Link | None:
    """The link that a target as written makes; None for one that leads to the web or nowhere."""
    if form in {WIKI, EMBED}:
        target = target.partition("|")[0].rstrip("\\").strip()
    if _FILLED_IN.search(target):
        return Link(line, TEMPLATE, target, None, target)
    path, has_anchor, anchor = target.partition("#")
    if form not in {WIKI, EMBED}:
        target = plain(target)
        path, has_anchor, anchor = target.partition("#")
        path = unquote(path.partition("?")[0])
        anchor = unquote(anchor)
    if form == SCHEME:
        return (
            Link(line, SCHEME, path, anchor if has_anchor else None, target)
            if _OWN_SCHEME.match(path)
            else None
        )
    if _EXTERNAL.match(path) or not (path or has_anchor):
        return None
    if form == LINK and _WEB_NAME.match(path):
        form = WWW
    return Link(line, form, path, anchor if has_anchor else None, target)


def plain(target: str) -> str:
    """A target with backslash escapes and character references resolved."""
    if "\\" in target:
        target = _ESCAPED.sub(r"\1", target)
    return html.unescape(target) if "&" in target else target


def same_label(label: str) -> str:
    """A label as labels compare: one case, single spaces."""
    return " ".join(label.casefold().split())


def elements_of(data: bytes, begin: int, end: int) -> Iterator[Element]:
    """The elements that open in these bytes of HTML, without those of which nothing is kept."""
    for tag in TAG.finditer(data, begin, end):
        element = _element(tag)
        if element is not None:
            yield element


def _element(tag: re.Match[bytes]) -> Element | None:
    """The element that a tag opens; None for a closing tag, and where nothing of it is kept."""
    if tag[1]:
        return None
    attributes: dict[str, str] = {}
    if tag[3]:
        for match in _ATTRIBUTE.finditer(tag[3]):
            value = html.unescape(match[match.lastindex or 0].decode("utf-8", "replace"))
            attributes.setdefault(match[1].decode().lower(), value)
    if not attributes and _PLAIN_NAME.fullmatch(tag[2]):
        return None
    return Element(
        tag.start(), tag[2].decode("utf-8", "replace"), attributes, tag[0].decode("utf-8", "replace")
    )


_BREAKS = re.compile(r"[\t\n\r]")
_LEADS = {"href": HREF, "to": HREF, "src": SRC}


def links_of_element(element: Element, line: int) -> Iterator[Link]:
    """The links that an element makes by its attributes."""
    for attribute, form in _LEADS.items():
        # Browsers drop the breaks of lines in an address, and the spaces around it.
        target = _BREAKS.sub("", element.attributes.get(attribute, "")).strip()
        if target and not (attribute == "to" and element.name != "Link"):
            link = link_of(form, line + _lines_before(attribute, element.written), target)
            if link is not None:
                # What these lead to is loaded into the page.
                loaded = form == HREF and element.name.lower() in {"use", "image", "link"}
                yield link._replace(form=SRC) if loaded else link


def _lines_before(attribute: str, written: str) -> int:
    """How many lines of an element stand before that of an attribute."""
    if "\n" not in written:
        return 0
    tag = written.encode()
    begins = (match.start(1) for match in _ATTRIBUTE.finditer(tag) if match[1].decode().lower() == attribute)
    return tag.count(b"\n", 0, next(begins, 0))


# Linear: thousands of bodies of a document ask for the labels around them.
@lru_cache(16)
def _encoded(labels: frozenset[str]) -> frozenset[bytes]:
    return frozenset(label.encode() for label in labels)


def undefined_shortcuts(data: bytes, code: Ranges, labels: Labels) -> list[int]:
    """Where words in brackets stand alone without a definition, in a text that defines most of what stands so.

    Words that begin with a code span are compared with such alone: a program's own names often stand in brackets.
    """
    defined: tuple[set[bytes], set[bytes]] = (set(), set())
    others: tuple[dict[int, str], dict[int, str]] = ({}, {})
    known = [_encoded(some) for some in labels]
    if not frozenset(map(bytes.lower, _SHORTCUT.findall(data))).difference(*known):
        return []
    for match in _SHORTCUT.finditer(data):
        # Most are defined as they are written, and nothing more is asked of these.
        written = match[1].lower()
        if any(written in some for some in known):
            defined[written[:1] == b"`"].add(written)
            continue
        label = same_label(match[1].decode("utf-8", "replace"))
        is_code = label.startswith("`")
        if any(label in some for some in labels):
            defined[is_code].add(label.encode())
            continue
        # Some programs take "[text] [label]" for a reference, be it in two lines.
        is_second = _AFTER_BRACKET.search(data, max(match.start() - 24, 0), match.start()) is not None
        if is_second or label.isdigit() or match.start() in code:
            continue
        if is_code or _OF_PROGRAMS.fullmatch(label) is None:
            others[is_code][match.start()] = label
    if not any(others):
        return []
    return sorted(
        position
        for known, unknown in zip(defined, others, strict=True)
        if len(known) >= max(_FEWEST_SHORTCUTS, 2 * len({*unknown.values()}))
        for position in unknown
    )


class Defined(NamedTuple):
    """The labels and notes that a run may use, and where brackets stand alone without one (`undefined_shortcuts`)."""

    labels: Labels
    notes: Labels
    shortcuts: Collection[int]


def read_inline(data: bytes, begin: int, end: int, line_of: LineOf, defined: Defined) -> Found:
    """Read one run of inline Markdown."""
    return _Scanner(data, begin, end, line_of, defined).found


@lru_cache(_LONGEST_RUN)
def _run_of(length: int) -> re.Pattern[bytes]:
    return re.compile(rb"(?<!`)`{%d}(?!`)" % length)


class CodeSpans:
    """Where code spans end: at the next run of as many backticks. Positions asked for only grow."""

    def __init__(self, data: bytes, end: int) -> None:
        self._data, self._end = data, end
        self._asked = 0
        # By length, the ends of the runs still to come, the next one last; made only for many questions.
        self._ends: dict[int, list[int]] | None = None

    def end(self, start: int, after: int) -> int:
        """The end of the code span that this run of backticks opens; its own end where nothing closes it."""
        length = after - start
        if self._ends is None and self._asked < _MOST_SEARCHES and length <= _LONGEST_RUN:
            self._asked += 1
            closer = _run_of(length).search(self._data, after, self._end)
            return after if closer is None else closer.end()
        if self._ends is None:
            self._ends = {}
            runs = [run.span() for run in _BACKTICKS.finditer(self._data, after, self._end)]
            for first, last in reversed(runs):
                self._ends.setdefault(last - first, []).append(last)
        ends = self._ends.get(length, [])
        while ends and ends[-1] <= after:
            ends.pop()
        return ends[-1] if ends else after


class _Scanner:
    """Goes through a run once, as CommonMark does: brackets are kept until their end is found."""

    def __init__(self, data: bytes, begin: int, end: int, line_of: LineOf, defined: Defined) -> None:
        self._data, self._end, self._line_of = data, end, line_of
        self._labels, self._notes, self._shortcuts = defined
        self.found = Found([], [], [])
        # Where each open bracket is, and whether it is an image's.
        self._open: list[tuple[int, bool]] = []
        self._code: CodeSpans | None = None
        position = begin
        while (token := _TOKEN.search(data, position, end)) is not None:
            position = self._take(token)

    def _take(self, token: re.Match[bytes]) -> int:
        """Take one token; returns where to go on."""
        start, after = token.span()
        kind = token.lastgroup
        if kind == "ticks":
            if self._code is None:
                self._code = CodeSpans(self._data, self._end)
            end = self._code.end(start, after)
            self._add_role(start, after, end)
            return end
        if kind == "comment":
            self.found.comments.append((start, after))
        elif kind == "tag":
            tag = TAG.match(self._data, start, self._end)
            if tag is None:
                return after
            element = _element(tag)
            if element is not None:
                self.found.elements.append(element)
            return tag.end()
        elif kind == "autolink":
            if _MAY_BE_OURS.search(token["autolink"]):
                self._add(start, SCHEME, token["autolink"])
        elif kind == "embed":
            self._add(start, EMBED, token["embed"])
        elif kind == "defines":
            if not token["defines"]:
                self._add_label(start, FOOTNOTE, token["footnote"], self._notes)
        elif kind == "open" or kind == "image":
            self._open.append((start, kind == "image"))
        elif kind == "close" and self._open:
            return self._close(start, after)
        return after

    def _add_role(self, start: int, after: int, end: int) -> None:
        """Add the link of a role, whose name stands in braces before a code span."""
        role = ROLE.search(self._data, max(start - LONGEST_ROLE, 0), start)
        if role is not None and end > after:
            text = self._data[after : end - (after - start)].decode("utf-8", "replace")
            link = link_of_role(self._line_of(start), role[1], text)
            self.found.links.extend([] if link is None else [(start, link)])

    def _close(self, start: int, after: int) -> int:
        opened, is_image = self._open.pop()
        following = self._data[after : after + 1]
        if following == b"(":
            destination = _DESTINATION.match(self._data, after, self._end)
            if destination is not None:
                target = destination[destination.lastgroup or 0]
                if is_image:
                    self._add(opened, IMAGE, target)
                elif destination.lastgroup == "filled":
                    self._add(opened, TEMPLATE, target)
                elif _MAY_BE_OURS.search(target):
                    self._add(opened, SCHEME, target)
                return destination.end()
        elif following == b"[" and not self._is_text(opened):
            label = _LABEL.match(self._data, after, self._end)
            if label is not None and not label[1].startswith(b"^"):
                if label[1].strip():
                    if not is_image and self._is_no_reference(opened, start, label):
                        return label.end()
                    self._add_label(opened, LABEL, label[1], self._labels)
                elif start - opened <= LONGEST_LABEL:
                    self._add_label(opened, LABEL, self._data[opened + 1 + is_image : start], self._labels)
                return label.end()
        elif opened in self._shortcuts:
            self._add_label(opened, SHORTCUT, self._data[opened + 1 : start], self._labels)
        return after

    def _is_text(self, opened: int) -> bool:
        """Whether a bracket belongs to the word or bracket before it, as in `a[i][j]`."""
        before = self._data[opened - 1 : opened]
        return before.isalnum() or before in {b"_", b"]", b")", b"$", b"\\"} or before >= b"\x80"

    def _is_no_reference(self, opened: int, closed: int, label: re.Match[bytes]) -> bool:
        """Whether brackets say what a command may leave out, as in `[[host:][port]:]container`, or are counted, as in
        `[Task 1][Task 2]`."""
        text = self._data[opened + 1 : closed]
        are_counted = text != label[1] and _DIGITS.sub(b"", text) == _DIGITS.sub(b"", label[1])
        inside = self._data[opened - 1 : opened] == b"["
        return are_counted or inside or self._data[label.end() : label.end() + 2] == b":]"

    def _add_label(self, position: int, form: str, written: bytes, defined: Labels) -> None:
        text = written.decode("utf-8", "replace")
        label = same_label(text)
        if not any(label in labels for labels in defined):
            self.found.links.append((position, Link(self._line_of(position), form, text, None, text)))

    def _add(self, position: int, form: str, target: bytes) -> None:
        link = link_of(form, self._line_of(position), target.decode("utf-8", "replace"))
        if link is not None:
            self.found.links.append((position, link))
