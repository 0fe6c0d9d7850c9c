"""What the page shows of a folder: its documents, what they say, and which of them link to which."""

from __future__ import annotations

import os
import re
from collections.abc import Iterable, Iterator, Sequence
from typing import NamedTuple, TypedDict
from urllib.parse import quote_from_bytes

from docmap.checking import Checked
from docmap.facts import Facts, Section
from docmap.findings import BROKEN
from docmap.naming import document_title, folder_title, heading_shown, home_among, reading_order, shown
from docmap.prose import first_sentence_in, is_sentence, plain_title, prose

# The page stays small: first paragraphs are cut to the first of these lengths by which all, those of
# documents and those of sections apart, have no more characters than this.
MOST_TEXT = 700_000
_CUTS = 600, 400, 300, 200, 140, 100, 60, 0


class Problem(NamedTuple):
    """A link that leads nowhere, or in doubt (`doubt` says what decides)."""

    line: int
    target: str
    message: str
    suggestion: str | None
    doubt: str | None = None


class Described(NamedTuple):
    """A document as the page describes it. Paths are relative to the folder, with "/"; lines count from 1."""

    path: str
    # What names the document: front matter or its only heading of level 1; None for neither.
    title: str | None
    # The first paragraph, "" for none.
    text: str
    sections: Sequence[Section]
    # The line of each link that leads to another document, and that document's path.
    links: Sequence[tuple[int, str]]
    problems: Sequence[Problem]


class DocumentEntry(TypedDict, total=False):
    """One document in the page's data. Short lists instead of objects keep thousands of documents small."""

    path: str
    # The path in an address, only where that is not `path` percent-encoded.
    href: str
    title: str
    # The first paragraph.
    text: str
    # [depth from 0, name, first line, last line, first paragraph (may be missing)]
    sections: list[list[int | str]]
    # [index of the document that is linked to, then the lines of the links]
    links: list[list[int]]
    # [line, target, what is wrong, what may have been meant, what decides where that is in doubt]
    broken: list[list[int | str | None]]


class FolderMap(TypedDict):
    """A folder: its title, the index of the document that introduces it, and all documents."""

    title: str
    home: int | None
    # The address of a line of a file, with {path} and {line} to fill in; None when there is none.
    link: str | None
    # Whether {path} is the whole path, which the page finds out from its own place and `base`.
    whole: bool
    base: str | None
    documents: list[DocumentEntry]


def described(checked: Checked, folder: str) -> list[Described]:
    """Return what the checked documents say and link to; `folder`: the one that the page is of, in the repository."""
    above = f"{folder}/" if folder else ""
    result = []
    for path in checked.documents:
        facts = checked.repository.facts(path)
        if facts is None:
            continue
        links = []
        problems = []
        for judgement in checked.judged(path):
            page, finding = judgement.page, judgement.finding
            if page is not None and page != path and page.startswith(above):
                links.append((judgement.link.line, page[len(above) :]))
            if finding is not None:
                message = finding.message.replace(f" in {above}", " in ") if above else finding.message
                doubt = None if finding.degree == BROKEN else finding.decided_by
                problems.append(Problem(finding.line, finding.target, message, finding.suggestion, doubt))
        labels = frozenset(facts.labels)
        sections = [
            section._replace(docstring=prose(section.docstring, labels)) if section.docstring else section
            for section in checked.sections(path)
        ]
        text = (sections[0].docstring if sections else None) or ""
        # What is no sentence may be badges, and the first paragraph comes after; a description is what it is.
        if not is_sentence(text) and "description" not in facts.fields_with("description"):
            body = _below(facts.front_matter, checked.repository.text(path) or "")
            text = first_sentence_in(body, labels) or text
        result.append(Described(path[len(above) :], _title(facts, sections), text, sections, links, problems))
    return result


def _title(facts: Facts, sections: Sequence[Section]) -> str | None:
    # What front matter calls a document without a heading of level 1 is a section at its line in the outline, plain
    # already; the fields need not be read for it.
    if facts.front_matter is not None and sections and sections[0].start_line == 1:
        return sections[0].name
    # The text of a heading is plain; front matter may hold markup.
    return plain_title(facts.title) if facts.title and "title" in facts.fields_with("title") else facts.title


def _below(front_matter: str | None, text: str) -> str:
    """The text after the line that ends the front matter."""
    if front_matter is None:
        return text
    return text[text.find(front_matter) + len(front_matter) :].partition("\n")[2]


def folder_map(
    root: str, documents: Sequence[Described], *, title: str | None, link: str | None, base: str | None
) -> FolderMap:
    """Return the data of the page of the folder `root`; `title`, `link`, `base`: see `FolderMap`."""
    order = reading_order([document.path for document in documents])
    titles = {document.path: document_title(document.path, document.title) for document in documents}
    documents = sorted(documents, key=lambda document: order(document.path, titles[document.path]))
    numbers = {document.path: number for number, document in enumerate(documents)}
    of_documents = _cut_for([document.text for document in documents])
    of_sections = _cut_for([s.docstring for document in documents for s in document.sections if s.docstring])
    entries = [_entry(each, titles[each.path], numbers, of_documents, of_sections) for each in documents]
    home = home_among([document.path for document in documents])
    own = None if home is None else documents[home].title
    whole = link is not None and not re.match(r"https?:|[^:]*$", link.partition("{")[0])
    return FolderMap(
        title=shown(title)
        if title
        else folder_title(root, own, None if home is None else documents[home].path),
        home=home,
        link=link,
        whole=whole,
        base=base if whole else None,
        documents=entries,
    )


def _entry(
    document: Described, title: str, numbers: dict[str, int], of_document: int, of_section: int
) -> DocumentEntry:
    path = shown(document.path)
    entry = DocumentEntry(path=path)
    if path != document.path:
        entry["href"] = quote_from_bytes(os.fsencode(document.path))
    entry["title"] = title
    entry["text"] = _cut(document.text, of_document)
    entry["sections"] = list(_sections(document.sections, of_section))
    targets: dict[str, list[int]] = {}
    for line, target in document.links:
        if target in numbers:
            targets.setdefault(target, [numbers[target]]).append(line)
    entry["links"] = list(targets.values())
    entry["broken"] = [
        [line, shown(written), shown(message), suggestion and shown(suggestion), *([doubt] if doubt else [])]
        for line, written, message, suggestion, doubt in document.problems
    ]
    return entry


def _sections(sections: Iterable[Section], longest: int) -> Iterator[list[int | str]]:
    """Rows of `DocumentEntry`; `longest`: characters of a first paragraph, 0 for none.

    The first section has none of its own: it is that of the document.
    """
    # Line ranges nest as the sections do, so they alone say which section holds which.
    ends: list[int] = []
    for number, section in enumerate(sections):
        while ends and ends[-1] < section.start_line:
            ends.pop()
        row: list[int | str] = [len(ends), heading_shown(section.name), section.start_line, section.end_line]
        if section.docstring and number and longest:
            row.append(_cut(section.docstring, longest))
        yield row
        ends.append(section.end_line)


def _cut(text: str, longest: int) -> str:
    return shown(text if len(text) <= longest else text[: longest - 1].rstrip() + "…") if longest else ""


def _cut_for(texts: Sequence[str]) -> int:
    """To how many characters to cut each text, so that all together are no longer than MOST_TEXT."""
    lengths = [len(text) for text in texts]
    return next(cut for cut in _CUTS if sum(min(cut, length) for length in lengths) <= MOST_TEXT)
