"""Reads the facts of a document: what the engine reports, and the rest from the same tree."""

from __future__ import annotations

import html
import re
from array import array
from bisect import bisect_right
from collections.abc import Iterable, Iterator, Sequence
from itertools import accumulate
from types import SimpleNamespace
from typing import Any, cast
from urllib.parse import unquote

from quarnel.engines.markdown import extract_links
from quarnel.engines.references import REF_WIKI_LINK, ReferenceInfo
from quarnel.models import Symbol
from tree_sitter import Node

from docmap.constructs import comment_spans, find_constructs, literal_spans
from docmap.directives import TOCTREE, links_of_directive
from docmap.documents import normalise
from docmap.facts import (
    COMPONENT,
    EMBED,
    FENCE,
    FRONT_MATTER,
    LINE_COMMENT,
    LINK,
    TEMPLATE,
    WIKI,
    Body,
    Construct,
    Facts,
    Heading,
    Link,
    Named,
    Section,
    Span,
)
from docmap.front_matter import read_fields
from docmap.inline import Element, elements_of, link_of, links_of_element, read_inline, same_label
from docmap.notes import targets
from docmap.reading import parse, sections_of

# What is read of a tree, by type of node.
_KINDS = {
    "atx_heading": "heading",
    "setext_heading": "heading",
    "fenced_code_block": "fence",
    "indented_code_block": "code",
    "inline": "inline",
    "pipe_table_cell": "inline",
    "html_block": "html",
    "link_reference_definition": "definition",
    "minus_metadata": "front_matter",
    "plus_metadata": "front_matter",
}

# Where a run of inline Markdown holds what the engine does not report.
_INLINE_SIGN = re.compile(
    rb"!\[|<[A-Za-z!]|\]\[|\[\^|\]\(\s*<?(?:[^\s()]*\{[{%]|(?:project|path):)|\{(?:doc|ref|numref|download)\}`"
)
# Patterns of whole lines are for `_find_lines`. Those begin with a newline, since `re` finds a literal quickly, while
# "^" makes it try every byte.
_DEFINES = re.compile(rb"\n[ >\t]*(?:(?:[-*+]|\d{1,9}[.)])[ \t]+)*\[((?:[^\[\]\\]|\\.){1,999})\]:")
_BRACES = re.compile(rb"\{(?<!\{\{):?([^{}\n]{1,1000})\}")
_ID_IN_BRACES = re.compile(rb"""(?:^|[ \t])(?:#([^\s#=]+)|id=(?:"([^"]*)"|'([^']*)'|([^\s"']+)))(?![^ \t])""")
_BLOCK_ID = re.compile(rb"\^(?<![^ \t\n]\^)([A-Za-z0-9-]+)[ \t]*$", re.MULTILINE)
_TARGET = re.compile(rb"\n[ >\t]*\(([^()\n]+)\)=[ \t]*$", re.MULTILINE)
# The name that an option gives what a directive makes; and a target in reStructuredText, which directives can hold.
_DIRECTIVE_NAME = re.compile(rb"\n[ \t>]*(?::name:[ \t]+([^\n]+)|\.\. _([^:\n]+):)")
# What stands below a term of a definition list.
_DEFINITION = re.compile(rb"\n[ ]{0,3}[:~][ \t]")
_FENCE_INFO = re.compile(rb"[ \t>]*[`~]{3,}[ \t]*\{([\w:.+-]+)\}[ \t]*([^\n]*)")
_HTML_HEADING = re.compile(rb"<h([1-6])(?=[\s>])([^<>]{0,1000})>", re.IGNORECASE)
_HTML_HEADINGS = frozenset({"h1", "h2", "h3", "h4", "h5", "h6"})
_LONGEST_HTML_HEADING = 1000
_IGNORE = re.compile(rb"(?:<!--|\{/\*)[ \t]*docmap-ignore[ \t]*(?:-->|\*/\})")
_BEFORE_TEXT = re.compile(rb"^[ \t>]*(?:(?:[-*+]|\d{1,9}[.)])[ \t]+)?")
_COMMENT = re.compile(rb"<!--.*?(?:-->|\Z)", re.DOTALL)
_PROPERTY = re.compile(r"""(["'])\[\[([^\[\]\n]+)\]\]\1""")
_COMMENTED_LINES = re.compile(rb"(?:\n[ ]{0,3}%[^\n]*)+")
_NOT_NAMES = frozenset({"section", "document"})
# What site generators indent: an admonition, a tab.
_ADMONITION = re.compile(rb"\n([ ]*)(?:!!!|\?\?\?\+?|===[!+]?)[ ]+[^\n]*")
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
_DEEPEST_BODY = 6


def read_facts(data: bytes) -> tuple[Facts, list[Section]]:
    """What the bytes of a document say, and the sections of its outline."""
    text, replaced = normalise(data)
    facts, sections = _Reader(text, 0, frozenset(), frozenset()).read()
    facts.replaced = replaced
    return facts, [
        Section(s.name, s.fqn.removeprefix("."), s.start_line, s.end_line, s.signature, s.docstring)
        for s in sections
    ]


class _Reader:
    def __init__(self, text: str, depth: int, labels: frozenset[str], notes: frozenset[str]) -> None:
        """`labels` and `notes` are those that the document around this text defines."""
        self._text, self._depth = text, depth
        self._labels, self._notes = labels, notes
        self._data = text.encode("utf-8")
        self._starts: Sequence[int] | None = None
        self._facts = Facts()

    def read(self) -> tuple[Facts, list[Symbol]]:
        root = parse(self._text)
        sections = sections_of(root, self._text, "")
        references = extract_links(root, sections)
        blocks = _blocks(root)
        self._literal = sorted(
            (node.start_byte, node.end_byte) for kind in ("fence", "code") for node in blocks.get(kind, ())
        )
        self._literal_begins = [begin for begin, _ in self._literal]
        self._read_front_matter(blocks.get("front_matter", ()))
        self._read_headings(blocks.get("heading", ()), sections)
        self._read_labels(blocks.get("definition", ()))
        comments = self._read_html(blocks.get("html", ()))
        comments += self._read_runs(blocks.get("inline", ()))
        self._read_spans(comments, root)
        self._read_links(references, blocks.get("definition", ()), comments)
        del references
        self._mark_links_inside()
        self._read_properties()
        self._read_constructs(blocks.get("fence", ()))
        self._read_names()
        self._read_bodies(blocks)
        # The nodes and references of a long document take more memory than what follows should add to.
        del blocks, root
        # The engine reports each link of a line once; so do we.
        self._facts.links = sorted(dict.fromkeys(self._facts.links), key=lambda link: link.line)
        self._facts.headings.sort(key=lambda heading: heading.line)
        return self._facts, sections

    def _line_of(self, position: int) -> int:
        if self._starts is None:
            # An array, since a list would hold an object for every line.
            self._starts = array("Q", [0])
            self._starts.extend(accumulate(len(line) + 1 for line in self._data.split(b"\n")))
        return bisect_right(self._starts, position)

    def _is_code(self, position: int) -> bool:
        at = bisect_right(self._literal_begins, position) - 1
        return at >= 0 and position < self._literal[at][1]

    def _end_of_code(self, position: int) -> int | None:
        if not self._is_code(position):
            return None
        return self._literal[bisect_right(self._literal_begins, position) - 1][1]

    def _is_inside_code(self, position: int) -> bool:
        """Whether a position is in code below the line that opens it."""
        if not self._is_code(position):
            return False
        begin = self._literal[bisect_right(self._literal_begins, position) - 1][0]
        return b"\n" in self._data[begin:position] or self._data[begin : begin + 1] not in {b"`", b"~"}

    def _read_front_matter(self, nodes: Iterable[Node]) -> None:
        for node in nodes:
            if node.start_byte:
                continue
            body = _text(self._data[node.start_byte : node.end_byte])
            body = body.partition("\n")[2].rstrip().rpartition("\n")[0]
            self._facts.front_matter = body
            fields = read_fields(body, toml=node.type == "plus_metadata")
            self._facts.fields = fields or {}
            self._facts.fields_unread = fields is None

    def _read_headings(self, nodes: list[Node] | tuple[()], sections: Iterable[Symbol]) -> None:
        if not nodes:
            return
        by_line = {section.start_line: section for section in sections}
        nested: list[Node] = []
        for node in nodes:
            line = node.start_point[0] + 1
            section = by_line.get(line)
            if section is None:
                nested.append(node)
            else:
                text = html.unescape(section.name)
                self._facts.headings.append(Heading(line, _level(node), text, self._raw(node)))
        if nested:
            names = {section.start_line: section.name for section in _as_outline(nested, self._text)}
            for node in nested:
                line = node.start_point[0] + 1
                text = html.unescape(names.get(line, ""))
                self._facts.headings.append(Heading(line, _level(node), text, self._raw(node), nested=True))

    def _raw(self, node: Node) -> str:
        for child in node.children:
            if child.type in {"inline", "paragraph"}:
                return _text(self._data[child.start_byte : child.end_byte]).strip()
        return ""

    def _read_labels(self, definitions: Iterable[Node]) -> None:
        labels: dict[str, None] = {}
        for begin, match in self._find_lines(_DEFINES) if b"]:" in self._data else ():
            label = _text(match[1])
            if label.startswith("^"):
                # The line of the label, which is the line that begins here: nothing before the label ends a line.
                self._facts.footnotes.append(Named(self._line_of(begin), label[1:]))
            else:
                labels[same_label(label)] = None
        self._facts.labels = list(labels)
        self._labels |= labels.keys()
        self._notes |= {same_label(note.name) for note in self._facts.footnotes}

    def _read_html(self, nodes: Iterable[Node]) -> list[tuple[int, int]]:
        """Read elements and headings of HTML blocks; returns where comments are."""
        comments: list[tuple[int, int]] = []
        for node in nodes:
            begin, end = node.start_byte, node.end_byte
            own = [match.span() for match in _COMMENT.finditer(self._data, begin, end)]
            comments += own
            for first, last in _outside(begin, end, own):
                for element in elements_of(self._data, first, last):
                    self._add_element(element)
                self._read_html_headings(first, last)
        return comments

    def _read_html_headings(self, begin: int, end: int) -> None:
        for opened in _HTML_HEADING.finditer(self._data, begin, end):
            closed = self._data.find(b"</", opened.end(), min(end, opened.end() + _LONGEST_HTML_HEADING))
            tag = b"</h" + opened[1]
            while closed >= 0 and self._data[closed : closed + 4].lower() != tag:
                closed = self._data.find(b"</", closed + 2, min(end, opened.end() + _LONGEST_HTML_HEADING))
            if closed < 0:
                continue
            raw = _text(self._data[opened.end() : closed]).strip()
            element = next(elements_of(self._data, opened.start(), opened.end()), None)
            heading = Heading(
                self._line_of(opened.start()),
                int(opened[1]),
                " ".join(html.unescape(re.sub(r"<[^<>]*>", "", raw)).split()),
                raw,
                html=True,
                own_id=element.attributes.get("id") if element else None,
            )
            self._facts.headings.append(heading)

    def _add_element(self, element: Element) -> None:
        line = self._line_of(element.position)
        for attribute in ("id", "name"):
            if element.attributes.get(attribute):
                self._facts.ids.append(Named(line, element.attributes[attribute]))
        self._facts.links.extend(links_of_element(element, line))
        if not element.name.islower() or "-" in element.name or "." in element.name:
            self._facts.constructs.append(Construct(line, COMPONENT, element.name, element.written))

    def _read_runs(self, nodes: Iterable[Node]) -> list[tuple[int, int]]:
        """Read the runs of inline Markdown that hold more than the engine reports; returns comments."""
        comments: list[tuple[int, int]] = []
        signs = _INLINE_SIGN.finditer(self._data)
        sign = next(signs, None)
        for node in nodes:
            begin, end = node.start_byte, node.end_byte
            while sign is not None and sign.start() < begin:
                sign = next(signs, None)
            if sign is None:
                break
            if sign.start() >= end:
                continue
            found = read_inline(self._data, begin, end, self._line_of, self._labels, self._notes)
            self._facts.links.extend(link for _, link in found.links)
            for element in found.elements:
                self._add_element(element)
            # The grammar takes most headings of HTML for paragraphs.
            if any(element.name.lower() in _HTML_HEADINGS for element in found.elements):
                self._read_html_headings(begin, end)
            comments += found.comments
        return comments

    def _read_spans(self, comments: list[tuple[int, int]], root: Node) -> None:
        for begin, end in comments:
            self._facts.spans.append(Span(self._line_of(begin), self._line_of(end - 1), "comment"))
        for begin, end, tag in (*literal_spans(self._data), *comment_spans(self._data, self._is_code)):
            self._facts.spans.append(Span(self._line_of(begin), self._line_of(end), tag))
        for begin, match in self._find_lines(_COMMENTED_LINES) if b"%" in self._data else ():
            if not self._is_code(begin):
                first = self._line_of(begin)
                last = first + match[0].count(b"\n") - 1
                self._facts.spans.append(Span(first, last, LINE_COMMENT))
        if b"docmap-ignore" in self._data:
            for match in _IGNORE.finditer(self._data):
                if not self._is_code(match.start()):
                    self._facts.spans.append(self._ignored(match, root))

    def _ignored(self, comment: re.Match[bytes], root: Node) -> Span:
        """The block after a comment that stands alone, else the block that the comment stands in."""
        line = self._line_of(comment.start())
        lines = self._data.split(b"\n")
        row = line - 1
        if _BEFORE_TEXT.sub(b"", lines[row], count=1).rstrip() == comment[0]:
            row += 1
            while row < len(lines) and not lines[row].strip(b" \t>"):
                row += 1
        column = len(lines[row]) - len(lines[row].lstrip(b" \t>")) if row < len(lines) else 0
        node = root.descendant_for_point_range((row, column), (row, column))
        while node is not None and node.parent is not None and node.parent.type not in _NOT_NAMES:
            if node.parent.start_point[0] != row:
                break
            node = node.parent
        if node is None or node.type in _NOT_NAMES:
            return Span(row + 1, row + 1, "ignore")
        last = node.end_point[0] + (node.end_point[1] > 0)
        return Span(row + 1, max(last, row + 1), "ignore")

    def _read_links(
        self,
        references: Iterable[ReferenceInfo],
        definitions: Iterable[Node],
        comments: list[tuple[int, int]],
    ) -> None:
        notes = {
            node.start_point[0] + 1
            for node in definitions
            if self._data[node.start_byte : node.start_byte + 40].lstrip(b" >").startswith(b"[^")
        }
        hidden = [
            (self._line_of(begin), self._line_of(end - 1), unquote(_text(self._data[begin:end])))
            for begin, end in comments
        ]
        for reference in references:
            # The text of a footnote can look like the destination of a definition.
            if reference.line in notes:
                continue
            wiki = reference.kind == REF_WIKI_LINK
            written = reference.name or f"#{reference.qualifier}"
            if any(first <= reference.line <= last and written in text for first, last, text in hidden):
                continue
            link = _link(reference.line, reference.name, reference.qualifier, wiki)
            if link is not None:
                self._facts.links.append(link)

    def _mark_links_inside(self) -> None:
        """Say of each link what it stands inside of; the engine reports its line alone."""
        inside: dict[tuple[int, bool, str, str | None], str | None] = {}
        for target in targets(self._data, self._end_of_code):
            line = self._line_of(target.position)
            link = link_of(WIKI if target.is_wiki else LINK, line, _text(target.written))
            if link is not None:
                key = line, target.is_wiki, link.path, link.anchor
                inside[key] = inside.get(key, target.inside) and target.inside
        if any(inside.values()):
            self._facts.links = [
                link._replace(
                    inside=inside.get((link.line, link.form in {WIKI, EMBED}, link.path, link.anchor))
                )
                for link in self._facts.links
            ]

    def _read_properties(self) -> None:
        """Read the wiki links that are values of front matter; without quotes, they are lists of lists."""
        fields = self._facts.fields.values()
        values = {
            text
            for value in fields
            for text in (value if isinstance(value, list) else [value])
            if isinstance(text, str)
        }
        for line, text in enumerate((self._facts.front_matter or "").split("\n"), 2):
            for match in _PROPERTY.finditer(text):
                link = link_of(WIKI, line, match[2])
                if link is not None and f"[[{match[2]}]]" in values:
                    self._facts.links.append(link._replace(inside=FRONT_MATTER))

    def _read_constructs(self, fences: Iterable[Node]) -> None:
        found = self._facts.constructs
        for position, construct in find_constructs(self._data):
            if not self._is_code(position):
                found.append(construct._replace(line=self._line_of(position)))
        for node in fences:
            info = _FENCE_INFO.match(self._data, node.start_byte, node.end_byte)
            if info is not None:
                name, rest = (_text(group).strip() for group in info.groups())
                found.append(Construct(node.start_point[0] + 1, FENCE, name, rest))
        self._read_directives()
        found.sort(key=lambda construct: construct.line)

    def _read_directives(self) -> None:
        """Read what directives lead to, those between fences and those between colons."""
        directives = [one for one in self._facts.constructs if one.form == FENCE]
        has_entries = any(one.name == TOCTREE for one in directives)
        lines = _text(self._data).split("\n") if has_entries else []
        found = [
            link
            for one in directives
            for link in links_of_directive(one.line, one.name, one.arguments, lines)
        ]
        if found:
            comments = (span for span in self._facts.spans if span.kind == "comment")
            hidden = {line for span in comments for line in range(span.first, span.last + 1)}
            self._facts.links.extend(link for link in found if link.line not in hidden)

    def _read_names(self) -> None:
        facts, data = self._facts, self._data
        if b"{" in data:
            heading_lines = {heading.line for heading in facts.headings}
            for match in _BRACES.finditer(data):
                own = _ID_IN_BRACES.search(match[1])
                if own is not None and not self._is_inside_code(match.start()):
                    line = self._line_of(match.start())
                    if line not in heading_lines:
                        facts.attribute_ids.append(Named(line, _text(own[own.lastindex or 1])))
        if b"^" in data:
            facts.block_ids.extend(
                Named(self._line_of(match.start()), _text(match[1]))
                for match in _BLOCK_ID.finditer(data)
                if not self._is_code(match.start(1))
            )
        if b")=" in data:
            facts.targets.extend(
                Named(self._line_of(begin), _text(match[1]).strip())
                for begin, match in self._find_lines(_TARGET)
                if not self._is_code(begin + match.start(1) - match.start() - 1)
            )
        if b":name:" in data or b"\n.. _" in data:
            for begin, match in self._find_lines(_DIRECTIVE_NAME):
                facts.targets.append(Named(self._line_of(begin), _text(match[1] or match[2]).strip()))
        for match in _DEFINITION.finditer(data):
            # One empty line may stand between.
            end = match.start() if data[match.start() - 1 : match.start()] != b"\n" else match.start() - 1
            begin = data.rfind(b"\n", 0, max(end, 0)) + 1
            term = _text(data[begin:end]).strip()
            if term and term[0] not in ":|>#-~" and not self._is_code(begin):
                facts.terms.append(Named(self._line_of(begin), term))

    def _find_lines(self, pattern: re.Pattern[bytes]) -> Iterator[tuple[int, re.Match[bytes]]]:
        """Where lines begin that a pattern which begins with a newline matches, and the matches."""
        for match in pattern.finditer(b"\n" + self._data):
            # The newline put in front makes up for the one that is matched.
            yield match.start(), match

    def _read_bodies(self, blocks: dict[str, list[Node]]) -> None:
        """Read what is Markdown to some sites though the grammar calls it code: bodies of directives."""
        if self._depth >= _DEEPEST_BODY:
            return
        for node in blocks.get("fence", ()):
            info = _FENCE_INFO.match(self._data, node.start_byte, node.end_byte)
            if info is None:
                continue
            name = _text(info[1])
            if name in _CODE_DIRECTIVES:
                continue
            for child in node.children:
                if child.type == "code_fence_content":
                    self._add_body("fence", name, child.start_byte, child.end_byte)
        if blocks.get("code"):
            end = 0
            for begin, match in self._find_lines(_ADMONITION):
                if begin >= end and not self._is_fenced(begin, blocks):
                    # Past the newline at its end.
                    first = begin + len(match[0])
                    end = self._end_of_indented(first, len(match[1]) + 4)
                    self._add_body("admonition", "", first, end)

    def _is_fenced(self, position: int, blocks: dict[str, list[Node]]) -> bool:
        return any(node.start_byte <= position < node.end_byte for node in blocks.get("fence", ()))

    def _end_of_indented(self, begin: int, indent: int) -> int:
        end = position = begin
        while position < len(self._data):
            after = self._data.find(b"\n", position) + 1 or len(self._data)
            line = self._data[position:after]
            if line.strip():
                if len(line) - len(line.lstrip(b" ")) < indent:
                    break
                end = after
            position = after
        return end

    def _add_body(self, kind: str, name: str, begin: int, end: int) -> None:
        lines = _text(self._data[begin:end]).split("\n")
        indents = [len(line) - len(line.lstrip(" ")) for line in lines if line.strip()]
        if not indents:
            return
        dedented = "\n".join(line[min(indents) :] for line in lines)
        text = dedented if dedented.endswith("\n") else dedented + "\n"
        facts, _ = _Reader(text, self._depth + 1, self._labels, self._notes).read()
        self._facts.bodies.append(Body(self._line_of(begin), kind, name, facts))


def _blocks(root: Node) -> dict[str, list[Node]]:
    """The nodes of each kind in `_KINDS`, in document order.

    A walk over children that the engine has asked for already costs a fifth of a query, which visits every token.
    """
    found: dict[str, list[Node]] = {}
    waiting = [root]
    while waiting:
        node = waiting.pop()
        kind = _KINDS.get(node.type)
        if kind is not None:
            found.setdefault(kind, []).append(node)
            if kind != "heading":
                continue
        children = node.children
        if children:
            waiting.extend(reversed(children))
    return found


def _text(data: bytes) -> str:
    return data.decode("utf-8", "replace")


def _link(line: int, path: str, anchor: str | None, wiki: bool) -> Link | None:
    """A link as the engine reports it: percent-decoded, split, but with escapes and references as written."""
    target = path if anchor is None else f"{path}#{anchor}"
    if wiki:
        return Link(line, WIKI, path.rstrip("\\").strip(), anchor, target)
    if any(sign in path for sign in ("{{", "{%", "${", "<%")):
        return Link(line, TEMPLATE, target, None, target)
    if "\\" in target or "&" in target or path[:4].lower() == "www.":
        again = link_of(LINK, line, target.replace("%", "%25"))
        return again and again._replace(written=target)
    return Link(line, LINK, path, anchor, target)


def _level(node: Node) -> int:
    for child in node.children:
        kind = child.type
        if kind.startswith("atx_h"):
            return int(kind[5])
        if kind.startswith("setext_h"):
            return int(kind[8])
    return 1


def _outside(begin: int, end: int, holes: Iterable[tuple[int, int]]) -> Iterator[tuple[int, int]]:
    for first, last in holes:
        if begin < first:
            yield begin, first
        begin = last
    if begin < end:
        yield begin, end


def _as_outline(headings: list[Node], text: str) -> list[Symbol]:
    """The sections that headings would make at the top level; the engine reads nodes by four attributes."""
    document: Any = SimpleNamespace(type="document", children=headings, start_point=(0, 0), text=b"")
    return sections_of(cast(Node, document), text, "")
