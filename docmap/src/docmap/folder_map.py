"""What the page shows of a folder: its documents, their outlines, and which of them link to which."""

from __future__ import annotations

from collections import Counter
from collections.abc import Iterable, Iterator, Sequence
from typing import TypedDict

from quarnel.models import Symbol

from docmap.checking import Checker, Page


class DocumentEntry(TypedDict):
    """One document. Lines count from 1; short lists instead of objects keep thousands of documents small."""

    path: str
    title: str
    # [depth from 0, name, first line, last line]
    sections: list[tuple[int, str, int, int]]
    # [index of the document that is linked to, number of links]
    links: list[tuple[int, int]]
    # [line, target, what is wrong, what may have been meant]
    broken: list[tuple[int, str, str, str | None]]


class FolderMap(TypedDict):
    """A folder: its name, the address of its documents seen from the page (None: none), all documents."""

    name: str
    base: str | None
    documents: list[DocumentEntry]
    links: int


def folder_map(name: str, base: str | None, pages: Sequence[Page], checker: Checker) -> FolderMap:
    """Return the map of the folder that these pages make up."""
    numbers = {checker.path_of(page): number for number, page in enumerate(pages)}
    documents = [_entry(page, checker, numbers) for page in pages]
    links = sum(len(page.document.links) for page in pages)
    return FolderMap(name=name, base=base, documents=documents, links=links)


def _entry(page: Page, checker: Checker, numbers: dict[str, int]) -> DocumentEntry:
    path = checker.path_of(page)
    led_to = (checker.leads_to(link, path) for link in page.document.links)
    # A link within the document is no line of the graph.
    counts = Counter(numbers[target] for target in led_to if target is not None and target != path)
    return DocumentEntry(
        path=path,
        title=page.document.title or path.rsplit("/", 1)[-1],
        sections=list(_nested(page.document.sections)),
        links=list(counts.items()),
        broken=[(f.line, f.target, f.message, f.suggestion) for f in checker.findings(page)],
    )


def _nested(sections: Iterable[Symbol]) -> Iterator[tuple[int, str, int, int]]:
    # Line ranges nest as the sections do, so they alone say which section holds which.
    ends: list[int] = []
    for section in sections:
        while ends and ends[-1] < section.start_line:
            ends.pop()
        yield len(ends), section.name, section.start_line, section.end_line
        ends.append(section.end_line)
