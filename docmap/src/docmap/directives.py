"""Finds what roles and directives of MyST lead to: the documents, labels and files that they name."""

from __future__ import annotations

import re
from collections.abc import Iterator, Sequence

from docmap.facts import DOC, FILE, REF, TOC, Link

# {role}`text`: what stands before the code span.
ROLE = re.compile(rb"(?<!\\)\{(doc|ref|numref|download)\}\Z")
LONGEST_ROLE = len(b"\\{download}")
_FORMS = {b"doc": DOC, b"ref": REF, b"numref": REF, b"download": FILE}
TOCTREE = "toctree"
# Directives whose argument is the path of a file.
_OF_FILES = frozenset({"include", "literalinclude", "image", "figure"})
_OPTION = re.compile(r":[\w-]+:")
# Whichever fence begins there: no entry of a toctree does so.
_FENCE_SIGN = re.compile(r"[ \t>]*(?:`{3}|~{3}|:{3})")
_QUOTED = re.compile(r"^(?:[ \t]*>)+")
# Entries of a toctree that are no documents: the page itself, indexes that the program makes.
_NO_DOCUMENTS = frozenset({"self", "genindex", "modindex", "py-modindex", "search"})
_ELSEWHERE = re.compile(r"[a-zA-Z][a-zA-Z0-9+.-]*://|data:|mailto:")
# What templates, substitutions and patterns make of a path.
_FILLED_IN = re.compile(r"\{\{|\{%|[*?|<>$]|\[")


def link_of_role(line: int, name: bytes, text: str) -> Link | None:
    """The link of a role, None where it makes none."""
    text = " ".join(text.split())
    # An exclamation mark asks for text without a link.
    return None if text.startswith("!") else _link(line, _FORMS[name], _target(text))


def links_of_directive(line: int, name: str, argument: str, lines: Sequence[str]) -> Iterator[Link]:
    """What a directive leads to that opens on this line of a document; `lines` are all of the document's, and only
    `TOCTREE` asks for them."""
    if name in _OF_FILES:
        link = _link(line, FILE, argument)
        if link is not None:
            yield link
    if name == TOCTREE:
        yield from _entries(line, lines)


def _entries(line: int, lines: Sequence[str]) -> Iterator[Link]:
    # Linear: an opening that would not end the entries of another is none, as a name in a line of text.
    if not _FENCE_SIGN.match(lines[line - 1]):
        return
    in_options = True
    # Options may also stand between two lines of dashes.
    dashes = 0
    for index in range(line, len(lines)):
        if _FENCE_SIGN.match(lines[index]):
            return
        entry = _QUOTED.sub("", lines[index]).strip()
        if in_options and entry == "---" and dashes < 2:
            dashes += 1
        elif entry and dashes != 1 and not (in_options and _OPTION.match(entry)):
            in_options = False
            target = _target(entry)
            link = None if target in _NO_DOCUMENTS else _link(index + 1, TOC, target)
            if link is not None:
                yield link


def _target(text: str) -> str:
    """The target of "target" and of "Text <target>"."""
    title, sign, target = text.rpartition("<")
    return target[:-1] if sign and title and target.endswith(">") else text


def _link(line: int, form: str, target: str) -> Link | None:
    target = target.strip()
    if not target or _ELSEWHERE.match(target) or _FILLED_IN.search(target):
        return None
    return Link(line, form, target, None, target)
