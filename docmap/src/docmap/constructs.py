"""Finds where something other than Markdown makes text: templates, directives, includes, imports, components.

Also finds the lines between tags that show their content as it is written.
"""

from __future__ import annotations

import re
from collections.abc import Iterator

from docmap.facts import (
    EXPRESSION,
    FENCE,
    HASH,
    IMPORT,
    INCLUDE,
    KRAMDOWN_COMMENT,
    LIQUID,
    MDX_COMMENT,
    NOTE_COMMENT,
    SHORTCODE,
    SNIPPET,
    Construct,
)
from docmap.inline import LineOf
from docmap.ranges import Ranges
from docmap.source import Source

# Linear: a name is taken whole or not at all, since what follows it can be any of its characters.
_BRACES = re.compile(
    rb"""\{(?:
        \{[<%]-?\s*(?P<shortcode>(?:/\s*)?[\w./-]+)(?![\w./-])(?P<shortcode_rest>[^{}]{0,2000}?)[>%]\}\}
      | %-?\s*(?P<liquid>\w+)(?!\w)(?P<liquid_rest>[^{}%]{0,2000})%\}
      | (?<![{\\]\{)\{\#(?P<hash>\w+)(?!\w)(?P<hash_rest>[^{}\n]{0,2000})\}\}
      | (?<!\{\{)\{(?![{<%\#])\s*(?!\s)
          (?=(?P<expression>[^\s{}|(]{0,200}))(?P=expression)(?P<expression_rest>[^{}]{0,2000})\}\}
    )""",
    re.VERBOSE,
)
# A run of signs is looked at from its begin alone.
_SNIPPET = re.compile(rb"(?P<snippet>(?<!;);+|(?<![;-]))-+8<-+(?P<snippet_rest>[^\n]*)")
# Names of files between two such lines.
_SNIPPET_BLOCK = re.compile(
    rb"(?<![;-])-+8<-+[ \t]*\n((?:(?![ \t]*-+8<-)[^\n]{0,1000}\n){1,100})[ \t]*-+8<-+"
)
_INCLUDE = re.compile(
    rb"""<!--[ \t]*@?(?P<include>include)(?P<include_rest>[^\n]{0,2000}?)-->
      | @(?<!\S@)(?P<at>include)\b(?P<at_rest>[^\n]*)
      | \[!(?P<docfx>INCLUDE)[ \t]*\[[^\[\]\n]*\]\((?P<docfx_rest>[^()\n]*)\)
    """,
    re.VERBOSE,
)
_IMPORT_LINE = re.compile(rb"import(?<![^\n]import)[ \t]+(?P<import_rest>[^\n]+)")
_FENCE_LINE = re.compile(rb":::+[ \t]*(?P<fence>\{[\w:.+-]+\}|[\w:.+-]+)(?P<fence_rest>[^\n]*)")
_FORMS = {
    "shortcode_rest": SHORTCODE,
    "liquid_rest": LIQUID,
    "hash_rest": HASH,
    "expression_rest": EXPRESSION,
    "snippet_rest": SNIPPET,
    "include_rest": INCLUDE,
    "at_rest": INCLUDE,
    "docfx_rest": INCLUDE,
    "fence_rest": FENCE,
}
_IMPORT = re.compile(rb"(?:(?P<names>[^'\"]+?)\s+from\s+)?['\"](?P<path>[^'\"]+)['\"]")

# What stands between these is shown as written or not at all; the grammar takes it for text.
_LITERAL = re.compile(
    rb"\{(?:\{|(?P<liquid>%))[<%-]?\s*(?:(?P<close>/|end)\s*)?(?P<tag>highlight|comment|raw|verbatim|code[\w-]*)\b"
)

_KRAMDOWN_OPEN = re.compile(rb"\{::(?:comment|nomarkdown)\b[^{}\n/]*\}")
_KRAMDOWN_CLOSE = re.compile(rb"\{:/(?:comment|nomarkdown)?\}")
_REST_OF_LINE = re.compile(rb"[ \t\r]*(?:\n|\Z)")


def find_constructs(source: Source) -> Iterator[Construct]:
    """The constructs of a document outside of its code."""
    data, code, signs = source.data, source.code, source.signs
    # Few patterns are tried in a document: to look for what they need is much faster.
    patterns = []
    if b"{{" in signs or b"{%" in signs:
        patterns.append(_BRACES)
    has_snippets = b"<" in signs and b"-8<-" in data
    if has_snippets:
        patterns.append(_SNIPPET)
    if (b"<!" in signs or b"@" in signs or b"[!" in signs) and (b"include" in data or b"[!INCLUDE" in data):
        patterns.append(_INCLUDE)
    if b"import " in data or b"import\t" in data:
        patterns.append(_IMPORT_LINE)
    if b":::" in signs:
        patterns.append(_FENCE_LINE)
    for pattern in patterns:
        for match in code.matches_outside(pattern, data):
            yield from _constructs_of(match, source.line_of)
    for block in code.matches_outside(_SNIPPET_BLOCK, data) if has_snippets else ():
        names = enumerate(_text(block[1]).splitlines(), source.line_of(block.start(1)))
        yield from (
            Construct(line, SNIPPET, "", name.strip())
            for line, name in names
            if name.strip() and not name.lstrip().startswith(";")
        )


def _constructs_of(match: re.Match[bytes], line_of: LineOf) -> list[Construct]:
    last = match.lastgroup or ""
    if last == "import_rest":
        imported = _IMPORT.match(match["import_rest"])
        if imported is None:
            return []
        names = re.findall(rb"[\w$]+", imported["names"] or b"") or [b""]
        line = line_of(match.start())
        return [Construct(line, IMPORT, _text(name), _text(imported["path"])) for name in names]
    name = _text(match[last.removesuffix("_rest")]).strip("{} \t\n")
    # The closing tag says nothing that the opening one did not, and a snippet without a name is a block of them.
    if name.startswith("/") or (last == "snippet_rest" and not match[last].strip()):
        return []
    return [Construct(line_of(match.start()), _FORMS[last], name, _text(match[last]).strip())]


def _text(data: bytes) -> str:
    return data.decode("utf-8", "replace")


def literal_spans(source: Source) -> Iterator[tuple[int, int, str]]:
    """Where what looks like Markdown is shown as written: begin, end (in bytes), and the kind of `Span`."""
    if b"{%" not in source.signs and b"{{" not in source.signs:
        return
    tags = [
        (match.start(), (b"{%" if match["liquid"] else b"") + match["tag"], match["close"] is not None)
        for match in _LITERAL.finditer(source.data)
    ]
    last_close = {tag: position for position, tag, closes in tags if closes}
    opened: tuple[int, bytes] | None = None
    for position, tag, closes in tags:
        if opened is None and not closes and last_close.get(tag, 0) > position:
            opened = position, tag
        elif opened is not None and closes and opened[1] == tag:
            yield opened[0], position, _text(tag)
            opened = None


def comment_spans(source: Source) -> Iterator[tuple[int, int, str]]:
    """Where comments of MDX and of note programs fill their lines: begin, end (in bytes), and the kind."""
    data, code = source.data, source.code
    for kind, sign, closer in ((MDX_COMMENT, b"{", b"*/}"), (NOTE_COMMENT, b"%%", b"%%")):
        begin = _outside_code(data, kind.encode(), 0, code) if sign in source.signs else -1
        while begin >= 0:
            closes = _outside_code(data, closer, begin + 2, code)
            if closes < 0:
                break
            end = closes + len(closer)
            # Only the spaces around a comment are looked at, since a line can hold all comments of a file.
            indent = begin
            while data[indent - 1 : indent] in {b" ", b"\t"}:
                indent -= 1
            if data[indent - 1 : indent] in {b"", b"\n"} and _REST_OF_LINE.match(data, end):
                yield begin, end, kind
            begin = _outside_code(data, kind.encode(), end, code)


def kramdown_spans(source: Source) -> Iterator[tuple[int, int, str]]:
    """What kramdown takes for a comment or for HTML: begin, end (in bytes), and the kind."""
    data, code = source.data, source.code
    begin = _outside_code(data, b"{::", 0, code) if b"{::" in source.signs else -1
    while begin >= 0:
        opened = _KRAMDOWN_OPEN.match(data, begin)
        closed = None if opened is None else _KRAMDOWN_CLOSE.search(data, opened.end())
        if opened is not None and closed is None:
            return
        if closed is not None:
            yield begin, closed.start(), KRAMDOWN_COMMENT
        begin = _outside_code(data, b"{::", begin + 3 if closed is None else closed.end(), code)


def _outside_code(data: bytes, text: bytes, start: int, code: Ranges) -> int:
    position = data.find(text, start)
    while position >= 0 and (around := code.around(position)) is not None:
        position = data.find(text, max(around[1], position + len(text)))
    return position
