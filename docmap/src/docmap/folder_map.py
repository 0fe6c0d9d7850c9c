"""What the page shows of a folder: its documents, what they say, and which of them link to which."""

from __future__ import annotations

import os
import posixpath
import re
import unicodedata
from collections.abc import Iterable, Iterator, Sequence
from pathlib import Path
from typing import NamedTuple, TypedDict
from urllib.parse import quote_from_bytes

from quarnel.models import Symbol

from docmap.checking import Checked
from docmap.facts import Facts, Section
from docmap.judge import BROKEN
from docmap.reading import parse, sections_of

INDEXES = "index", "_index", "readme"
# All paragraphs of a folder together: of more than that, each is cut shorter, so that the page stays small.
MOST_TEXT = 1_200_000
_CUTS = 600, 300, 200, 140, 100, 70, 40
# An attribute list at the end of a heading: `{#id}`, `{: .class}`.
_ATTRIBUTES = re.compile(r"(?<!\s)\s*\{:?\s*[#.][^{}]*\}\s*$")
# A link whose text holds code stands in a paragraph as it was written.
_LINK = re.compile(r"!?\[([^\[\]]*)\]\([^()\s]*\)")
_MARKUP = re.compile(r"[\\`*_\[\]<&~{]")
# The first paragraph of a document is looked for in so many characters.
_FAR_ENOUGH = 4000
# Names that say nothing of what a folder is about.
_NO_TITLES = frozenset({"", "docs", "documentation", "home", "index", "introduction", "overview", "readme", "welcome"})
_NO_NAMES = _NO_TITLES | {"book", "content", "doc", "en", "guide", "pages", "site", "source", "src", "website", "wiki"}
# Where site generators are told the name of a site.
_SITE_NAMES = {
    "mkdocs.yml": r"^site_name:\s*(.+?)\s*$",
    "book.toml": r"^title\s*=\s*(.+?)\s*$",
    "_config.yml": r"^title:\s*(.+?)\s*$",
    "hugo.toml": r"^title\s*=\s*(.+?)\s*$",
    "conf.py": r"^project\s*=\s*(.+?)\s*$",
    ".vitepress/config.ts": r"^\s*title:\s*(['\"].+?['\"]),?\s*$",
    "docusaurus.config.js": r"^\s*title:\s*(['\"].+?['\"]),?\s*$",
}


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
    """A folder: its title, the index of the document that introduces it, how files are addressed, all documents."""

    title: str
    home: int | None
    # The address of a line of a file, with {path} and {line} to fill in; None when there is none.
    link: str | None
    # Whether {path} is the whole path, which the page finds out from its own place and `base`.
    whole: bool
    base: str | None
    documents: list[DocumentEntry]


def described(checked: Checked, folder: str) -> list[Described]:
    """Return what the checked documents say and where their links lead; `folder`: theirs, in the repository."""
    below = len(folder) + 1 if folder else 0
    result = []
    for path in checked.documents:
        facts = checked.repository.facts(path)
        if facts is None:
            continue
        judged = ((each.link.line, each.page) for each in checked.judge.judged(path) if each.page is not None)
        links = [(line, page[below:]) for line, page in judged if page != path and page.startswith(folder)]
        problems = [
            Problem(
                f.line,
                f.target,
                f.message.replace(f" in {folder}/", " in ") if folder else f.message,
                f.suggestion,
                None if f.degree == BROKEN else f.decided_by,
            )
            for f in checked.findings(path)
        ]
        sections = checked.sections(path)
        text = next((section.docstring for section in sections[:1] if section.docstring), None)
        if text is None and not any(section.docstring for section in sections):
            text = _first_paragraph(checked.repository.text(path) or "", facts)
        # The text of a heading is plain; front matter may hold markup.
        title = facts.title if "title" not in facts.fields else _plain(facts.title)
        result.append(Described(path[below:], title, text or "", sections, links, problems))
    return result


def _plain(title: str | None) -> str | None:
    """A title of front matter as a reader sees it."""
    if title is None or _MARKUP.search(title) is None:
        return title
    sections = _outlined(f"# {' '.join(title.split())}\n")
    return sections[0].name if sections else title


def _first_paragraph(text: str, facts: Facts) -> str | None:
    """The first paragraph of a document that has none below a heading."""
    if facts.front_matter is not None:
        text = text[text.find(facts.front_matter) + len(facts.front_matter) :].partition("\n")[2]
    # The engine gives the paragraph below a heading, so it gets a heading above.
    sections = _outlined(f"# Title\n\n{text[:_FAR_ENOUGH]}\n")
    return sections[0].docstring if sections else None


def _outlined(text: str) -> list[Symbol]:
    return sections_of(parse(text), text, "")


def folder_map(
    root: str, documents: Sequence[Described], *, title: str | None, link: str | None, base: str | None
) -> FolderMap:
    """Return the data of the page of the folder `root`; `title`, `link`, `base`: see `FolderMap`."""
    numbers = {document.path: number for number, document in enumerate(documents)}
    longest = _cut_for(documents)
    entries = [_entry(document, numbers, longest) for document in documents]
    home = _home(documents)
    own = None if home is None else documents[home].title
    whole = link is not None and not re.match(r"https?:|[^:]*$", link.partition("{")[0])
    return FolderMap(
        title=shown(title) if title else _title(root, own),
        home=home,
        link=link,
        whole=whole,
        base=base if whole else None,
        documents=entries,
    )


def shown(text: str) -> str:
    """Return `text` with signs for what would be obeyed instead of shown: control and direction characters."""
    return text if text.isascii() and text.isprintable() else "".join(map(_sign, text))


def _sign(character: str) -> str:
    code = ord(character)
    if code < 32 or code == 127:
        return chr(0x2400 + code) if code < 32 else "\u2421"
    kind = unicodedata.category(character)
    if kind == "Cs":
        return "\ufffd"
    # Joiners are letters of some scripts and of emoji; other characters of form direct what stands beside them.
    if kind == "Cc" or (kind == "Cf" and character not in "\u200c\u200d\u00ad"):
        return f"[U+{code:04X}]"
    return character


def _name(text: str) -> str:
    return shown(_ATTRIBUTES.sub("", text).strip())


def _entry(document: Described, numbers: dict[str, int], longest: int) -> DocumentEntry:
    path = shown(document.path)
    entry = DocumentEntry(path=path)
    if path != document.path:
        entry["href"] = quote_from_bytes(os.fsencode(document.path))
    stem, folder = posixpath.splitext(posixpath.basename(path))[0], posixpath.basename(posixpath.dirname(path))
    title = _name(document.title or "")
    # Every folder may have an index; the name of the folder tells them apart.
    entry["title"] = title or (folder if folder and stem.casefold() in INDEXES else stem)
    sections = list(_sections(document.sections, longest))
    entry["text"] = _cut(document.text, longest)
    entry["sections"] = sections
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
    # Line ranges nest as the sections do, so they alone say which section holds which.
    ends: list[int] = []
    for number, section in enumerate(sections):
        while ends and ends[-1] < section.start_line:
            ends.pop()
        row: list[int | str] = [len(ends), _name(section.name), section.start_line, section.end_line]
        if section.docstring and number:
            row.append(_cut(section.docstring, longest))
        yield row
        ends.append(section.end_line)


def _cut(text: str, longest: int) -> str:
    if "](" in text:
        text = _LINK.sub(r"\1", text)
    return shown(text if len(text) <= longest else text[: longest - 1].rstrip() + "…")


def _cut_for(documents: Sequence[Described]) -> int:
    lengths = [len(s.docstring) for document in documents for s in document.sections if s.docstring]
    fitting = (cut for cut in _CUTS if sum(min(cut, length) for length in lengths) <= MOST_TEXT)
    return next(fitting, _CUTS[-1])


def _home(documents: Sequence[Described]) -> int | None:
    """The index or README of the outermost folder that has one above all documents."""
    above = posixpath.commonpath([posixpath.dirname(document.path) for document in documents]) if documents else ""
    folders = [above]
    while folders[-1]:
        folders.append(posixpath.dirname(folders[-1]))
    found: dict[tuple[int, int], int] = {}
    for number, document in enumerate(documents):
        folder, name = posixpath.split(document.path)
        stem = posixpath.splitext(name)[0].casefold()
        if stem in INDEXES and folder in folders:
            found.setdefault((-folders.index(folder), INDEXES.index(stem)), number)
    return found[min(found)] if found else None


def _title(root: str, own: str | None) -> str:
    """What a folder is called: as its index is, as its site is, as it lies on disk."""
    if own is not None and _name(own).casefold() not in _NO_TITLES:
        return _name(own)
    path = Path(os.path.abspath(root))
    for folder in (path, path.parent):
        for file, pattern in _SITE_NAMES.items():
            try:
                told = re.search(pattern, (folder / file).read_text("utf-8", "replace"), re.MULTILINE)
            except OSError:
                continue
            if told is not None and (name := told[1].strip("'\"")):
                return shown(name)
    names = [name for name in path.parts if name != path.anchor]
    last = names[-1] if names else "/"
    # "docs" says nothing; the folder around it is the project.
    return shown(f"{names[-2]} {last}" if last.casefold() in _NO_NAMES and len(names) > 1 else last)
