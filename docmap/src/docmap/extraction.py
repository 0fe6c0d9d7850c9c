"""Reads the facts of a document: what the engine reports, and the rest from the same tree."""

from __future__ import annotations

import html
import re
from bisect import bisect_right
from collections.abc import Collection, Iterable, Iterator, Sequence
from itertools import chain
from types import SimpleNamespace
from typing import Any, cast
from urllib.parse import unquote

from quarnel.engines.markdown import extract_links
from quarnel.engines.references import REF_WIKI_LINK, ReferenceInfo
from quarnel.models import Symbol
from tree_sitter import Node

from docmap.bodies import (
    Directive,
    dedented,
    directives_of,
    find_bodies,
    find_jsx_bodies,
    is_one_fence,
    may_hold_facts,
)
from docmap.constructs import comment_spans, find_constructs, kramdown_spans, literal_spans
from docmap.directives import TOCTREE, links_of_directive
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
    Span,
    lines_of,
)
from docmap.ignored import ignored_spans
from docmap.inline import (
    LONGEST_LABEL,
    Defined,
    Element,
    Labels,
    elements_of,
    link_of,
    links_of_element,
    read_inline,
    same_label,
    undefined_shortcuts,
)
from docmap.names import read_names
from docmap.nodes import level_of, nodes_by_kind, ranges_of
from docmap.notes import Region, Target, read_regions
from docmap.ranges import Ranges
from docmap.reading import parse_bytes, unnumbered_sections_of
from docmap.source import Source, text_of

# Where a run of inline Markdown holds what the engine does not report.
_INLINE_SIGN = re.compile(
    rb"!\[|<(?!https?:)[A-Za-z!]|\]\[|\[\^|\]\(\s*<?(?:[^\s()]*\{[{%]|(?:project|path):)|\{(?:doc|ref|numref|download)\}`"
)
# Patterns of whole lines, here and elsewhere, are for `Source.find_lines`. They begin with a newline, since `re` finds a
# literal quickly, while "^" makes it try every byte.
_DEFINES = re.compile(
    rb"\n[ >\t]*(?=[-*+\d\[])(?:(?:[-*+]|\d{1,9}[.)])[ \t]+)*\[(?!\])([^\[\]\\]*(?:\\.[^\[\]\\]*)*)\]:"
)
_HTML_HEADING = re.compile(rb"<h([1-6])(?=[\s>])([^<>]{0,1000})>", re.IGNORECASE)
_HTML_HEADINGS = frozenset({"h1", "h2", "h3", "h4", "h5", "h6"})
_LONGEST_HTML_HEADING = 1000
_PROPERTY = re.compile(r"""(["'])\[\[([^\[\]\n]+)\]\]\1""")
_COMMENTED_LINES = re.compile(rb"\n[ ]{0,3}%[^\n]*(?:\n[ ]{0,3}%[^\n]*)*")
_BETWEEN_WORDS = re.compile(r"[\s()\[\]<>#?|]+")
_LONGEST_LINE = 20_000
# Bodies within bodies are read to this depth.
_DEEPEST_BODY = 6
_COMMENT = re.compile(rb"<!--.*?(?:-->|\Z)", re.DOTALL)


def read_facts(text: str, replaced: bool, *, mdx: bool = True) -> tuple[Facts, list[Symbol]]:
    """What a document says, and its outline as the engine has it; it takes what `normalise` makes of the bytes.

    `mdx`: also read what only MDX takes for Markdown.
    """
    facts, symbols = _Reader(text, 0, (), (), mdx=mdx).read()
    facts.replaced = replaced
    return facts, symbols


class _Reader:
    def __init__(self, text: str, depth: int, labels: Labels, notes: Labels, *, mdx: bool) -> None:
        """`labels` and `notes` are those that the documents around this text define."""
        self._text, self._depth, self._mdx = text, depth, mdx
        self._labels, self._notes = labels, notes
        self._data = text.encode("utf-8")
        self._source = Source(self._data)
        self._line_of = self._source.line_of
        self._facts = Facts()
        # Where brackets stand alone without a definition, as if they were links.
        self._shortcuts: list[int] = []

    def read(self) -> tuple[Facts, list[Symbol]]:
        root = parse_bytes(self._data)
        sections = unnumbered_sections_of(root, self._text)
        references = extract_links(root, sections)
        blocks = nodes_by_kind(root)
        fences, indented = (ranges_of(blocks.get(kind, ())) for kind in ("fence", "code"))
        self._source.fences = Ranges(fences, joined=False)
        self._source.code = Ranges([*fences, *indented], joined=False)
        self._read_front_matter(blocks.get("front_matter", ()))
        self._read_headings(blocks.get("heading", ()), sections)
        self._read_labels()
        regions = list(read_regions(self._source))
        comments = self._read_html(blocks.get("html", ()))
        comments += self._read_runs(
            blocks.get("inline", ()), [one for one in regions if isinstance(one, Region)]
        )
        self._read_spans(comments, root)
        self._read_links(references, blocks.get("definition", ()), comments)
        del references
        self._mark_links_inside([one for one in regions if isinstance(one, Target)])
        self._read_properties()
        fenced = directives_of(self._source, blocks.get("fence", ()))
        self._read_constructs(fenced)
        read_names(self._source, self._facts)
        self._read_bodies(fenced, blocks.get("html", ()), blocks.get("code", ()))
        # The nodes and references of a long document take more memory than what follows should add to.
        del blocks, fenced, root
        # The engine reports each link of a line once; so do we.
        self._facts.links = sorted(dict.fromkeys(self._facts.links), key=lambda link: link.line)
        self._facts.headings.sort(key=lambda heading: heading.line)
        return self._facts, sections

    def _read_front_matter(self, nodes: Iterable[Node]) -> None:
        for node in nodes:
            if node.start_byte:
                continue
            body = text_of(self._data[node.start_byte : node.end_byte])
            body = body.partition("\n")[2].rstrip().rpartition("\n")[0]
            self._facts.front_matter = body
            self._facts.toml = node.type == "plus_metadata"

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
                self._facts.headings.append(Heading(line, level_of(node), text, self._raw(node)))
        if nested:
            names = {section.start_line: section.name for section in _as_outline(nested, self._text)}
            for node in nested:
                line = node.start_point[0] + 1
                text = html.unescape(names.get(line, ""))
                self._facts.headings.append(Heading(line, level_of(node), text, self._raw(node), nested=True))

    def _raw(self, node: Node) -> str:
        for child in node.children:
            if child.type in {"inline", "paragraph"}:
                return text_of(self._data[child.start_byte : child.end_byte]).strip()
        return ""

    def _read_labels(self) -> None:
        labels: dict[str, None] = {}
        for begin, match in self._source.find_lines(_DEFINES) if b"]:" in self._source.signs else ():
            label = text_of(match[1])
            if len(label) > LONGEST_LABEL:
                continue
            if label.startswith("^"):
                # The line of the label, which is the line that begins here: nothing before the label ends a line.
                self._facts.footnotes.append(Named(self._line_of(begin), label[1:]))
            else:
                labels[same_label(label)] = None
        self._facts.labels = list(labels)
        if labels:
            self._labels = (*self._labels, frozenset(labels))
            self._shortcuts = undefined_shortcuts(self._data, self._source.code, self._labels)
        if self._facts.footnotes:
            self._notes = (*self._notes, frozenset(same_label(note.name) for note in self._facts.footnotes))

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
            raw = text_of(self._data[opened.end() : closed]).strip()
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
        if element.attributes:
            for attribute in ("id", "name"):
                if element.attributes.get(attribute):
                    self._facts.ids.append(Named(line, element.attributes[attribute]))
            self._facts.links.extend(links_of_element(element, line))
        if not element.name.islower() or "-" in element.name or "." in element.name:
            self._facts.constructs.append(Construct(line, COMPONENT, element.name, element.written))

    def _read_runs(self, nodes: Sequence[Node], regions: list[Region]) -> list[tuple[int, int]]:
        """Read the runs of inline Markdown that hold more than the engine reports; returns comments."""
        comments: list[tuple[int, int]] = []
        signs = [sign.start() for sign in _INLINE_SIGN.finditer(self._data)]
        if self._shortcuts:
            signs = sorted([*signs, *self._shortcuts])
        if not signs:
            return comments
        ranges = Ranges(((region.begin, region.end) for region in regions), joined=False)
        kinds = {(region.begin, region.end): region.kind for region in regions}
        begins = [node.start_byte for node in nodes]
        defined = Defined(self._labels, self._notes, frozenset(self._shortcuts))
        done = 0
        for position in signs:
            number = bisect_right(begins, position) - 1 if position >= done else -1
            if number < 0:
                continue
            begin, end = begins[number], nodes[number].end_byte
            if position >= end:
                continue
            done = end
            found = read_inline(self._data, begin, end, self._line_of, defined)
            for place, link in found.links:
                around = ranges.around(place)
                self._facts.links.append(link if around is None else link._replace(inside=kinds[around]))
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
        signs = self._source.signs
        unread = (literal_spans, comment_spans, kramdown_spans) if b"{" in signs or b"%%" in signs else ()
        for begin, end, kind in chain.from_iterable(spans(self._source) for spans in unread):
            self._facts.spans.append(Span(self._line_of(begin), self._line_of(end), kind))
        for begin, match in self._source.find_lines(_COMMENTED_LINES) if b"\n%" in signs else ():
            if begin not in self._source.code:
                first = self._line_of(begin)
                last = first + match[0].count(b"\n") - 1
                self._facts.spans.append(Span(first, last, LINE_COMMENT))
        self._facts.spans.extend(ignored_spans(self._source, root))

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
        hidden = self._texts_by_line(comments)
        for reference in references:
            # The text of a footnote can look like the destination of a definition.
            if reference.line in notes:
                continue
            wiki = reference.kind == REF_WIKI_LINK
            written = reference.name or f"#{reference.qualifier}"
            if reference.line in hidden and hidden[reference.line].holds(written):
                continue
            link = _link(reference.line, reference.name, reference.qualifier, wiki)
            if link is not None:
                self._facts.links.append(link)

    def _texts_by_line(self, comments: Iterable[tuple[int, int]]) -> dict[int, _LineText]:
        """What comments hold of each line, percent-decoded."""
        by_line: dict[int, list[str]] = {}
        for begin, end in comments:
            for line, text in enumerate(text_of(self._data[begin:end]).split("\n"), self._line_of(begin)):
                by_line.setdefault(line, []).append(unquote(text))
        return {line: _LineText("\n".join(texts)) for line, texts in by_line.items()}

    def _mark_links_inside(self, targets: Iterable[Target]) -> None:
        """Say of each link what it stands inside of; the engine reports its line alone."""
        inside: dict[tuple[int, bool, str, str | None], str | None] = {}
        for target in targets:
            line = self._line_of(target.position)
            link = link_of(WIKI if target.is_wiki else LINK, line, text_of(target.written))
            if link is not None:
                key = line, target.is_wiki, link.path, link.anchor
                inside[key] = inside.get(key, target.inside) and target.inside
        if any(inside.values()):
            self._facts.links = [
                link._replace(
                    inside=inside.get(
                        (link.line, link.form in {WIKI, EMBED}, link.path, link.anchor), link.inside
                    )
                )
                for link in self._facts.links
            ]

    def _read_properties(self) -> None:
        """Read the wiki links that are values of front matter; without quotes, they are lists of lists."""
        if not _PROPERTY.search(self._facts.front_matter or ""):
            return
        values = {
            text
            for value in self._facts.fields.values()
            for text in (value if isinstance(value, list) else [value])
            if isinstance(text, str)
        }
        for line, text in enumerate((self._facts.front_matter or "").split("\n"), 2):
            for match in _PROPERTY.finditer(text):
                link = link_of(WIKI, line, match[2])
                if link is not None and f"[[{match[2]}]]" in values:
                    self._facts.links.append(link._replace(inside=FRONT_MATTER))

    def _read_constructs(self, fenced: Iterable[Directive]) -> None:
        found = self._facts.constructs
        found.extend(find_constructs(self._source))
        for node, name, arguments in fenced:
            found.append(Construct(node.start_point[0] + 1, FENCE, name, arguments))
        self._read_directives()
        found.sort(key=lambda construct: construct.line)

    def _read_directives(self) -> None:
        """Read what directives lead to, those between fences and those between colons."""
        directives = [one for one in self._facts.constructs if one.form == FENCE]
        has_entries = any(one.name == TOCTREE for one in directives)
        lines = text_of(self._data).split("\n") if has_entries else []
        found = [
            link
            for one in directives
            for link in links_of_directive(one.line, one.name, one.arguments, lines)
        ]
        if found:
            hidden = lines_of(self._facts.spans, {"comment"})
            self._facts.links.extend(link for link in found if link.line not in hidden)

    def _read_bodies(
        self, fenced: Iterable[Directive], html: Collection[Node], indented: Collection[Node]
    ) -> None:
        if self._depth >= _DEEPEST_BODY:
            return
        for kind, name, begin, end in find_bodies(self._source, fenced, html):
            self._read_body(kind, name, begin, self._data[begin:end])
        for begin, data in find_jsx_bodies(self._source, [*html, *indented]) if self._mdx else ():
            self._read_body("jsx", "", begin, data)

    def _read_body(self, kind: str, name: str, begin: int, data: bytes) -> None:
        text = dedented(text_of(data)) if may_hold_facts(data) else None
        if text is not None and not is_one_fence(text):
            facts, _ = _Reader(text, self._depth + 1, self._labels, self._notes, mdx=self._mdx).read()
            self._facts.bodies.append(Body(self._line_of(begin), kind, name, facts))


class _LineText:
    """The text of comments in one line, which can hold all links of a document."""

    def __init__(self, text: str) -> None:
        self._text = text
        self._words: frozenset[str] | None = None

    def holds(self, target: str) -> bool:
        """Whether a target stands in the text: as a word of it, or, of a line that is not endless, anywhere."""
        if self._words is None:
            self._words = frozenset(_BETWEEN_WORDS.split(self._text))
        return target in self._words or (len(self._text) <= _LONGEST_LINE and target in self._text)


def _link(line: int, path: str, anchor: str | None, wiki: bool) -> Link | None:
    """A link as the engine reports it: percent-decoded, split, but with escapes and references as written."""
    target = path if anchor is None else f"{path}#{anchor}"
    if wiki:
        return Link(line, WIKI, path.rstrip("\\").strip(), anchor, target)
    if "{{" in path or "{%" in path or "${" in path or "<%" in path:
        return Link(line, TEMPLATE, target, None, target)
    if "\\" in target or "&" in target or path[:4].lower() == "www.":
        again = link_of(LINK, line, target.replace("%", "%25"))
        return again and again._replace(written=target)
    return Link(line, LINK, path, anchor, target)


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
    return unnumbered_sections_of(cast(Node, document), text)
