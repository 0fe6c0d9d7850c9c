"""What the page shows of a folder: its documents, their outlines, and which of them link to which."""

from __future__ import annotations

from collections import Counter
from collections.abc import Iterable, Iterator
from typing import TypedDict

from docmap.checking import Checked
from docmap.facts import Section


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


def folder_map(name: str, base: str | None, checked: Checked, folder: str) -> FolderMap:
    """Return the map of the documents that were checked, paths relative to `folder` of their repository."""
    paths = [path for path in checked.documents if checked.repository.facts(path) is not None]
    numbers = {path: number for number, path in enumerate(paths)}
    documents = [
        _entry(path, path[len(folder) + 1 :] if folder else path, checked, numbers) for path in paths
    ]
    return FolderMap(name=name, base=base, documents=documents, links=checked.count_links())


def _entry(path: str, shown: str, checked: Checked, numbers: dict[str, int]) -> DocumentEntry:
    facts = checked.repository.facts(path)
    assert facts is not None
    led_to = (judgement.page for judgement in checked.judge.judged(path))
    # A link within the document is no line of the graph.
    counts = Counter(numbers[target] for target in led_to if target in numbers and target != path)
    return DocumentEntry(
        path=shown,
        title=facts.title or shown.rsplit("/", 1)[-1],
        sections=list(_nested(checked.sections(path))),
        links=list(counts.items()),
        broken=[
            (f.line, f.target, f.message, f.suggestion)
            for f in checked.findings(path)
            if f.degree == "broken"
        ],
    )


def _nested(sections: Iterable[Section]) -> Iterator[tuple[int, str, int, int]]:
    # Line ranges nest as the sections do, so they alone say which section holds which.
    ends: list[int] = []
    for section in sections:
        while ends and ends[-1] < section.start_line:
            ends.pop()
        yield len(ends), section.name, section.start_line, section.end_line
        ends.append(section.end_line)
