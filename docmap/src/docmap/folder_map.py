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
# The page stays small: first paragraphs are cut to the first of these lengths by which all, those of
# documents and those of sections apart, have no more characters than this.
MOST_TEXT = 700_000
_CUTS = 600, 400, 300, 200, 140, 100, 60, 0
# An attribute list at the end of a heading: `{#id}`, `{: .class}`.
_ATTRIBUTES = re.compile(r"(?<!\s)\s*\{:?\s*[#.][^{}]*\}\s*$")
# What the engine leaves in a paragraph: links whose text holds code, images by reference, references.
_IMAGE = re.compile(r"!\[[^\[\]]*\](?:\([^()]*\)|\[[^\[\]]*\])")
_LINK = re.compile(r"\[([^\[\]]*)\](?:\([^()\s]*\)|\[[^\[\]]*\])")
_LABEL = re.compile(r"\[([^\[\]]+)\]")
# Directives of site generators are paragraphs to the grammar.
_DIRECTIVE = re.compile(r":::|!!!|\{[%{<]|\{\w+\}|(?:import|export)\s.*['\"{]")
# Outside ASCII other signs end a sentence.
_SENTENCE_END = re.compile(r"[.!?:\u0080-\U0010ffff]['\")\]]*$")
_NUMBER = re.compile(r"([0-9]+)")
_MARKUP = re.compile(r"[\\`*_\[\]<&~{]")
# The first paragraph of a document is looked for in so many characters.
_FAR_ENOUGH = 4000
# Names that say nothing of what a folder is about.
_NO_TITLES = frozenset(
    {"", "about", "docs", "documentation", "getting started", "home", "index", "install", "installation",
     "introduction", "overview", "readme", "welcome"}
)  # fmt: skip
_NO_NAMES = _NO_TITLES | {
    "book",
    "content",
    "doc",
    "en",
    "guide",
    "pages",
    "site",
    "source",
    "src",
    "website",
    "wiki",
}
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
    """Return what the checked documents say and link to; `folder`: theirs in the repository."""
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
            section._replace(docstring=_prose(section.docstring, labels)) if section.docstring else section
            for section in checked.sections(path)
        ]
        text = (sections[0].docstring if sections else None) or ""
        # What is no sentence may be badges, and the first paragraph comes after; a description is what it is.
        if _SENTENCE_END.search(text) is None and "description" not in facts.fields:
            text = _first_paragraph(checked.repository.text(path) or "", facts, labels) or text
        # The text of a heading is plain; front matter may hold markup.
        title = facts.title if "title" not in facts.fields else _plain(facts.title)
        result.append(Described(path[len(above) :], title, text, sections, links, problems))
    return result


def _plain(title: str | None) -> str | None:
    """A title of front matter as a reader sees it."""
    if title is None or _MARKUP.search(title) is None:
        return title
    sections = _outlined(f"# {' '.join(title.split())}\n")
    return sections[0].name if sections else title


def _first_paragraph(text: str, facts: Facts, labels: frozenset[str]) -> str:
    """The first paragraph that is a sentence, wherever it stands."""
    if facts.front_matter is not None:
        text = text[text.find(facts.front_matter) + len(facts.front_matter) :].partition("\n")[2]
    nodes = [parse(text[:_FAR_ENOUGH] + "\n")]
    tries = 6
    while nodes and tries:
        node = nodes.pop()
        if node.type != "paragraph":
            if node.type != "html_block":
                nodes.extend(reversed(node.children))
            continue
        tries -= 1
        lines = (node.text or b"").decode("utf-8", "replace").split("\n")
        raw = _IMAGE.sub("", "\n".join(line.lstrip("> \t") for line in lines))
        # The engine gives the paragraph below a heading, so it gets a heading above.
        sections = _outlined(f"# Title\n\n{raw}\n")
        found = _prose(sections[0].docstring or "", labels) if len(sections) == 1 else ""
        if len(found) > 25 or _SENTENCE_END.search(found) is not None:
            return found
    return ""


def _prose(text: str, labels: frozenset[str]) -> str:
    """A paragraph as a reader sees it, without the brackets of links that the engine leaves in it."""
    if _DIRECTIVE.match(text):
        return ""
    if "[" in text:
        text = _LINK.sub(r"\1", _IMAGE.sub("", text))
        text = _LABEL.sub(lambda link: link[1] if link[1].casefold() in labels else link[0], text)
    return text.strip()


def _outlined(text: str) -> list[Symbol]:
    return sections_of(parse(text), text, "")


def folder_map(
    root: str, documents: Sequence[Described], *, title: str | None, link: str | None, base: str | None
) -> FolderMap:
    """Return the data of the page of the folder `root`; `title`, `link`, `base`: see `FolderMap`."""
    documents = sorted(documents, key=_reading_order)
    numbers = {document.path: number for number, document in enumerate(documents)}
    of_documents = _cut_for([document.text for document in documents])
    of_sections = _cut_for([s.docstring for document in documents for s in document.sections if s.docstring])
    entries = [_entry(document, numbers, of_documents, of_sections) for document in documents]
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


def _reading_order(document: Described) -> tuple[list[list[str | int]], str]:
    """Orders by path, case aside, with numbers by their value: chapter 2 comes before chapter 10."""
    # Text and numbers alternate, text first, so that like is compared with like.
    names = [
        [int(part) if place % 2 else part for place, part in enumerate(_NUMBER.split(name))]
        for name in posixpath.splitext(document.path.casefold())[0].split("/")
    ]
    return names, document.path


def shown(text: str) -> str:
    """Return `text` with signs for what would be obeyed, not shown: control and direction characters."""
    return text if text.isascii() and text.isprintable() else "".join(map(_sign, text))


def _sign(character: str) -> str:
    code = ord(character)
    if code < 32 or code == 127:
        return chr(0x2400 + code) if code < 32 else "\u2421"
    kind = unicodedata.category(character)
    if kind == "Cs":
        return "\ufffd"
    # Joiners are letters of some scripts and of emoji; other format characters direct the text beside.
    if kind == "Cc" or (kind == "Cf" and character not in "\u200c\u200d\u00ad"):
        return f"[U+{code:04X}]"
    return character


def _name(text: str) -> str:
    return shown((_ATTRIBUTES.sub("", text) if text.rstrip().endswith("}") else text).strip())


def _entry(document: Described, numbers: dict[str, int], of_document: int, of_section: int) -> DocumentEntry:
    path = shown(document.path)
    entry = DocumentEntry(path=path)
    if path != document.path:
        entry["href"] = quote_from_bytes(os.fsencode(document.path))
    stem, folder = (
        posixpath.splitext(posixpath.basename(path))[0],
        posixpath.basename(posixpath.dirname(path)),
    )
    title = _name(document.title or "")
    # Every folder may have an index; the name of the folder tells them apart.
    entry["title"] = title or (folder if folder and stem.casefold() in INDEXES else stem)
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
    # Line ranges nest as the sections do, so they alone say which section holds which.
    ends: list[int] = []
    for number, section in enumerate(sections):
        while ends and ends[-1] < section.start_line:
            ends.pop()
        row: list[int | str] = [len(ends), _name(section.name), section.start_line, section.end_line]
        if section.docstring and number and longest:
            row.append(_cut(section.docstring, longest))
        yield row
        ends.append(section.end_line)


def _cut(text: str, longest: int) -> str:
    return shown(text if len(text) <= longest else text[: longest - 1].rstrip() + "…") if longest else ""


def _cut_for(texts: Sequence[str]) -> int:
    return next(cut for cut in _CUTS if sum(min(cut, len(text)) for text in texts) <= MOST_TEXT)


def _home(documents: Sequence[Described]) -> int | None:
    """The index or README of the outermost folder that has one above all documents."""
    above = (
        posixpath.commonpath([posixpath.dirname(document.path) for document in documents])
        if documents
        else ""
    )
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
