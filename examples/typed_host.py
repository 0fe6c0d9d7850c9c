"""A small host with full type annotations: what it passes to the engine and what it gets back, without `Any`.

python typed_host.py FILE... prints, per file, the sections that most links start from.
"""

from __future__ import annotations

import sys
from collections import Counter
from collections.abc import Callable, Iterable, Sequence
from dataclasses import dataclass, field
from pathlib import Path
from typing import Protocol, cast

import tree_sitter_markdown
from quarnel.engines.markdown import extract_links, extract_sections
from tree_sitter import Language, Node, Parser


class Rule(Protocol):
    """Either of the two rules that a host lends to the engine."""

    def __call__(self, text: str, /) -> str: ...


class Section(Protocol):
    """The part of a section that this host uses; the engine's symbols have it."""

    @property
    def fqn(self) -> str: ...
    @property
    def start_line(self) -> int: ...
    @property
    def end_line(self) -> int: ...


class Link(Protocol):
    """The part of a link that this host uses."""

    @property
    def name(self) -> str: ...
    @property
    def source_fqn(self) -> str | None: ...


@dataclass
class Numbering:
    """Numbers the repeats of an FQN within one file: X, X#2, X#3; a host keeps one per file."""

    given: set[str] = field(default_factory=set)
    numbers: Counter[str] = field(default_factory=Counter)

    def __call__(self, fqn: str, /) -> str:
        self.numbers[fqn] += 1
        unique = fqn if self.numbers[fqn] == 1 else f"{fqn}#{self.numbers[fqn]}"
        # A heading may itself be called "X#2".
        while unique in self.given:
            self.numbers[fqn] += 1
            unique = f"{fqn}#{self.numbers[fqn]}"
        self.given.add(unique)
        return unique


@dataclass(frozen=True)
class Cap:
    """Cuts a docstring to `length` characters."""

    length: int

    def __call__(self, text: str, /) -> str:
        return text if len(text) <= self.length else text[: self.length - 3] + "..."


@dataclass(frozen=True)
class Entry:
    """What the host knows of one file."""

    path: Path
    sections: Sequence[Section]
    links: Sequence[Link]

    def busiest(self, count: int) -> list[tuple[str, int]]:
        """The FQNs that most links start from, with their numbers of links."""
        return Counter(link.source_fqn or "(above all headings)" for link in self.links).most_common(count)


def markdown_grammar() -> Language:
    """The grammar of Markdown's blocks. Its package has no annotations, so the type of its one function is stated here."""
    return Language(cast(Callable[[], object], tree_sitter_markdown.language)())


class Host:
    """Reads files one after the other. A parser serves one thread at a time; the engine serves any number."""

    def __init__(self, cap: Rule) -> None:
        self._parser: Parser = Parser(markdown_grammar())
        self._cap: Rule = cap

    def read(self, path: Path, file_id: int) -> Entry:
        """Read one file. Raises OSError."""
        text = path.read_bytes().decode("utf-8-sig", "replace").replace("\r\n", "\n")
        text += "" if text.endswith("\n") else "\n"
        root: Node = self._parser.parse(text.encode()).root_node
        numbering: Rule = Numbering()
        sections = extract_sections(
            root, text, path.stem, file_id, unique_fqn=numbering, cap_docstring=self._cap
        )
        return Entry(path, sections, extract_links(root, sections))


def main(names: Iterable[str]) -> None:
    host = Host(Cap(1000))
    for file_id, name in enumerate(names, 1):
        entry = host.read(Path(name), file_id)
        print(f"{entry.path}: {len(entry.sections)} sections, {len(entry.links)} links")
        for fqn, links in entry.busiest(3):
            print(f"  {links:4}  {fqn}")


if __name__ == "__main__":
    main(sys.argv[1:])
