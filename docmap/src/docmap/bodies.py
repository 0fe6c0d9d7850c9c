"""Finds what is Markdown to some sites though the grammar calls it code or HTML.

These are the bodies of directives and admonitions, and, where MDX is read, what stands between tags or is indented.
"""

from __future__ import annotations

import re
from collections.abc import Iterable, Iterator
from typing import NamedTuple

from tree_sitter import Node

from docmap.inline import TAG
from docmap.source import Source, text_of

# What site generators indent: an admonition or tab; a definition or footnote after its first line.
_INDENTING = re.compile(
    rb"""\n([ ]*)(?=[!?=:\[])(?:
        (?P<admonition>(?:!!!|\?\?\?\+?|===[!+]?)[ ]+)
      | (?P<definition>:[ ]{1,3})
      | (?P<footnote>\[\^[^\[\]\n]{1,999}\]:)
    )[^\n]*""",
    re.VERBOSE,
)
_BEGINS_BLOCK = re.compile(rb"\n[ ]*(?:\n|#|[=-]+[ ]*\n)")
# The attribute that makes the text of an element Markdown; the first line may also hold the summary of <details>.
_MARKDOWN_ELEMENT = re.compile(
    rb"""<[A-Za-z][\w-]*\s(?:[^<>]{0,1000}\s)?markdown(?:=["']?(?:1|block)["']?)?(?=[\s>])[^<>]{0,1000}>"""
    rb"(?:\s{0,100}<summary\b[^<>]{0,1000}>[^\n]{0,1000}?</summary>)?"
)
_FENCE_INFO = re.compile(rb"[ \t>]*[`~]{3,}[ \t]*\{([\w:.+-]+)\}[ \t]*([^\n]*)")
# Directives whose body is no Markdown.
_CODE_DIRECTIVES = frozenset(
    [
        "code",
        "code-block",
        "code-cell",
        "sourcecode",
        "literalinclude",
        "math",
        "mermaid",
        "graphviz",
        "raw",
        "eval-rst",
        "csv-table",
        "toctree",
        "plot",
        "highlight",
        "include",
        "image",
        "bibliography",
        "autodoc",
        "glossary-file",
        "python",
        "r",
        "bash",
    ]
)

# Tags at the begin of a line, comments, and program text: not what MDX takes for Markdown.
_NO_MARKDOWN = re.compile(
    rb"^[ \t]*(?:" + TAG.pattern + rb"[ \t]*)+|<!--.*?(?:-->|\Z)|\{\s*`[^`]*`\s*\}", re.MULTILINE | re.DOTALL
)
# Elements whose content is no Markdown even there, and what is no element.
_NO_CONTENT = re.compile(rb"[ \t]*<(?:[!?]|(?:script|style|pre|textarea)\b)", re.IGNORECASE)
# Without one of these there is neither a heading nor a link.
_HAS_MARKDOWN = re.compile(rb"^[ \t]*#{1,6}[ \t]|\]\(|\]\[", re.MULTILINE)
# Without one of these a text is only prose, code and lists, of which nothing is kept.
_SIGN_OF_FACT = re.compile(rb"[\[<#{^%$=]|\n[ \t>]*(?:[:~.!?]|-+[ \t]*(?:\n|\Z))|import|include")

# A fenced code block that is no directive, and nothing else.
_ONE_FENCE = re.compile(
    r"\n*(?P<fence>`{3,}|~{3,}(?!~))[^\n`{]*\n(?:(?! {0,3}(?P=fence)).*\n)* {0,3}(?P=fence)[`~]*\s*"
)


class Directive(NamedTuple):
    """A fenced code block that is a directive, with its name and arguments."""

    node: Node
    name: str
    arguments: str


def directives_of(source: Source, fences: Iterable[Node]) -> list[Directive]:
    """The directives among these fenced code blocks."""
    infos = ((node, _FENCE_INFO.match(source.data, node.start_byte, node.end_byte)) for node in fences)
    return [
        Directive(node, text_of(info[1]).strip(), text_of(info[2]).strip())
        for node, info in infos
        if info is not None
    ]


def find_bodies(
    source: Source, fenced: Iterable[Directive], html: Iterable[Node]
) -> Iterator[tuple[str, str, int, int]]:
    """The bodies of a document: kind and name as `Body` has them, begin and end in bytes; `html`: its blocks of HTML."""
    for node, name, _ in fenced:
        if name not in _CODE_DIRECTIVES:
            for child in node.children:
                if child.type == "code_fence_content":
                    yield "fence", name, child.start_byte, child.end_byte
    if b"markdown" in source.data:
        for node in html:
            # To the next empty line all is HTML to the grammar; after it, Markdown to everyone.
            element = _MARKDOWN_ELEMENT.search(source.data, node.start_byte, node.end_byte)
            if element is not None:
                yield "element", "", element.end(), node.end_byte
    # What is indented is code to the grammar, or, without an empty line above it, text of the paragraph.
    end = 0
    signs = source.signs
    may_indent = b"\n:" in signs or b"!!!" in signs or b"???" in signs or b"===" in signs or b"[^" in signs
    for begin, match in source.find_lines(_INDENTING) if may_indent else ():
        if begin >= end and begin not in source.fences:
            kind = match.lastgroup or ""
            # Past the newline at its end.
            first = begin + len(match[0])
            after = _end_of_indented(source.data, first, len(match[1]) + 4)
            # Few definitions and footnotes are more than one paragraph, which the grammar reads as the sites do.
            if kind == "admonition" or _BEGINS_BLOCK.search(source.data, first - 1, after):
                end = after
                yield kind, "", first, end


def find_jsx_bodies(source: Source, nodes: Iterable[Node]) -> Iterator[tuple[int, bytes]]:
    """What MDX takes for Markdown in blocks of HTML and of indented code: where each begins, and its text, whose lines
    are those of the block."""
    for node in nodes:
        begin = source.begin_of(node.start_point[0]) if node.type != "html_block" else node.start_byte
        data = source.data[begin : node.end_byte]
        if _HAS_MARKDOWN.search(data) and not _NO_CONTENT.match(data):
            text = _NO_MARKDOWN.sub(lambda match: b"\n" * match[0].count(b"\n"), data)
            if _HAS_MARKDOWN.search(text):
                yield begin, text


def _end_of_indented(data: bytes, begin: int, indent: int) -> int:
    end = position = begin
    while position < len(data):
        after = data.find(b"\n", position) + 1 or len(data)
        line = data[position:after]
        if line.strip():
            if len(line) - len(line.lstrip(b" ")) < indent:
                break
            end = after
        position = after
    return end


def may_hold_facts(data: bytes) -> bool:
    """Whether reading the text of a body can find anything in it."""
    return _SIGN_OF_FACT.search(b"\n" + data) is not None


def is_one_fence(text: str) -> bool:
    """Whether the text of a body is only program text, as below most tabs."""
    return _ONE_FENCE.fullmatch(text) is not None


def dedented(text: str) -> str | None:
    """The text of a body as a document of its own, None when there is nothing in it."""
    lines = text.split("\n")
    indents = [len(line) - len(line.lstrip(" ")) for line in lines if line.strip()]
    if not indents:
        return None
    indent = min(indents)
    text = "\n".join(line[indent:] for line in lines)
    return text if text.endswith("\n") else text + "\n"
