"""Prints the outline of documents as trees."""

from __future__ import annotations

import shutil
import sys
from collections.abc import Iterator, Sequence

from quarnel.engines.references import ReferenceInfo
from quarnel.models import Symbol

from docmap.reading import Document, link_target
from docmap.terminal import CYAN, DIM, GREEN, bold, is_styled, printable, styled

# Without a terminal nothing is folded, but a docstring is still cut to this many characters.
PIPE_WIDTH = 120

# A line of a tree: its text as it is seen, and as it is written with styles.
_Line = tuple[str, str]


class TreePrinter:
    """Prints trees to standard output, folded at the width of a terminal."""

    def __init__(self) -> None:
        self._width = (shutil.get_terminal_size().columns or 80) if sys.stdout.isatty() else None
        self._styled = is_styled()

    def print_outline(self, document: Document, *, with_links: bool) -> None:
        """Print one document: its path, then its sections as they nest, with their links when asked for."""
        links: dict[str | None, list[ReferenceInfo]] = {}
        if with_links:
            for link in document.links:
                links.setdefault(link.source_fqn, []).append(link)
        path = printable(document.file.shown)
        written = [*self._folded("", "", [(path, bold(path))])]
        branches = _branches(document.sections, links)
        # Whether each of the branches that a line stands below goes on after it.
        going_on: list[bool] = []
        for depth, is_last, lines in branches:
            del going_on[depth:]
            guides = "".join("│   " if goes_on else "    " for goes_on in going_on)
            first, rest = ("└── ", "    ") if is_last else ("├── ", "│   ")
            written += self._folded(guides + first, guides + rest, self._lines(lines, len(guides) + 4))
            going_on.append(not is_last)
        sys.stdout.write("".join(written))

    def _lines(self, item: Symbol | ReferenceInfo, indent: int) -> list[_Line]:
        if isinstance(item, ReferenceInfo):
            target, rest = printable(link_target(item)), f"  line {item.line}, {item.kind}"
            if not self._styled:
                return [(line := f"-> {target}{rest}", line)]
            return [(f"-> {target}{rest}", f"-> {styled(target, GREEN)}{styled(rest, DIM)}")]
        name, lines = printable(item.name), f"  {item.start_line}-{item.end_line}"
        heading = (name + lines, f"{name}{styled(lines, CYAN)}" if self._styled else name + lines)
        if not item.docstring:
            return [heading]
        docstring = _cut(
            printable(item.docstring), PIPE_WIDTH if self._width is None else self._width - indent
        )
        return [heading, (docstring, styled(docstring, DIM) if self._styled else docstring)]

    def _folded(self, first: str, rest: str, lines: Sequence[_Line]) -> Iterator[str]:
        """The lines with their guides, each broken between words where it is wider than the terminal."""
        for plain, written in lines:
            if self._width is None or (plain.isascii() and len(first) + len(plain) <= self._width):
                yield f"{self._dim(first)}{written}\n"
            else:
                yield from self._wrapped(first, rest, plain, written)
            first = rest

    def _wrapped(self, first: str, rest: str, plain: str, written: str) -> Iterator[str]:
        from rich.cells import cell_len
        from rich.console import Console
        from rich.text import Text

        assert self._width is not None
        if cell_len(first + plain) <= self._width:
            yield f"{self._dim(first)}{written}\n"
            return
        console = Console(file=sys.stdout, width=1 << 20, highlight=False)
        text = Text.from_ansi(written)
        for part in text.wrap(console, max(self._width - len(first), 20), overflow="ignore"):
            with console.capture() as captured:
                console.print(part, end="")
            yield f"{self._dim(first)}{captured.get()}\n"
            first = rest

    def _dim(self, guides: str) -> str:
        return styled(guides, DIM) if guides and self._styled else guides


def _branches(
    sections: Sequence[Symbol], links: dict[str | None, list[ReferenceInfo]]
) -> Iterator[tuple[int, bool, Symbol | ReferenceInfo]]:
    """What a document's tree holds, from top to bottom: depth, whether it is the last of its branch, the item."""
    items: list[tuple[int, Symbol | ReferenceInfo]] = [(0, link) for link in links.get(None, ())]
    # Line ranges nest as the sections do, so they alone say which section encloses which.
    ends: list[int] = []
    for section in sections:
        while ends and ends[-1] < section.start_line:
            ends.pop()
        items.append((len(ends), section))
        ends.append(section.end_line)
        items += [(len(ends), link) for link in links.get(section.fqn, ())]
    # The last of its branch is what no other of its depth follows before the branch ends.
    last = [True] * len(items)
    followed: list[bool] = []
    for number in range(len(items) - 1, -1, -1):
        depth = items[number][0]
        del followed[depth + 1 :]
        while len(followed) <= depth:
            followed.append(False)
        last[number] = not followed[depth]
        followed[depth] = True
    return ((depth, is_last, item) for (depth, item), is_last in zip(items, last, strict=True))


def _cut(text: str, width: int) -> str:
    """The text, cut to a width in cells of a terminal, with an ellipsis."""
    if text.isascii():
        return text if len(text) <= width else f"{text[: width - 1]}…"
    from rich.cells import cell_len, set_cell_size

    return text if cell_len(text) <= width else f"{set_cell_size(text, width - 1).rstrip()}…"
