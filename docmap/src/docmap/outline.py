"""Prints the outline of documents as trees."""

from __future__ import annotations

from collections.abc import Sequence

from quarnel.engines.references import ReferenceInfo
from quarnel.models import Symbol
from rich.console import Console, Group, RenderableType
from rich.text import Text
from rich.tree import Tree

from docmap.reading import Document, link_target

# Control characters of a document must not reach the terminal, where they would be obeyed.
_VISIBLE = dict.fromkeys((*range(32), *range(127, 160)), 65533)
# Without a terminal nothing is folded, but a docstring is still cut to this many characters.
PIPE_WIDTH = 120


def printable(text: str) -> str:
    """Return `text` with each control character replaced by U+FFFD."""
    return text.translate(_VISIBLE)


def print_outline(console: Console, document: Document, *, with_links: bool) -> None:
    """Print one document: its path, then its sections as they nest, with their links when asked for."""
    root = Tree(Text(printable(document.file.shown), style="bold"), guide_style="dim")
    links: dict[str | None, list[ReferenceInfo]] = {}
    if with_links:
        for link in document.links:
            links.setdefault(link.source_fqn, []).append(link)
    _add_links(root, links.get(None, ()))
    # Line ranges nest as the sections do, so they alone say which section holds which.
    open_sections: list[tuple[int, Tree]] = []
    for section in document.sections:
        while open_sections and open_sections[-1][0] < section.start_line:
            open_sections.pop()
        holder = open_sections[-1][1] if open_sections else root
        branch = holder.add(_label(console, section))
        _add_links(branch, links.get(section.fqn, ()))
        open_sections.append((section.end_line, branch))
    console.print(root)


def _label(console: Console, section: Symbol) -> RenderableType:
    heading = Text.assemble(printable(section.name), (f"  {section.start_line}-{section.end_line}", "cyan"))
    if not section.docstring:
        return heading
    docstring = Text(printable(section.docstring), style="dim", no_wrap=True, overflow="ellipsis")
    if not console.is_terminal:
        docstring.truncate(PIPE_WIDTH)
    return Group(heading, docstring)


def _add_links(branch: Tree, links: Sequence[ReferenceInfo]) -> None:
    for link in links:
        target = (printable(link_target(link)), "green")
        branch.add(Text.assemble("-> ", target, (f"  line {link.line}, {link.kind}", "dim")))
