"""Reads one document: parses it and has the engine extract its sections and links."""

from __future__ import annotations

from dataclasses import dataclass

import tree_sitter_markdown
from quarnel.engines.markdown import extract_links, extract_sections
from quarnel.engines.references import ReferenceInfo
from quarnel.models import Symbol
from tree_sitter import Language, Node, Parser

from docmap.documents import SourceFile, read_text
from docmap.rules import FqnNumbering, cap_docstring

_PARSER = Parser(Language(tree_sitter_markdown.language()))


@dataclass(frozen=True)
class Document:
    """What a file holds: its sections and links in document order, `replaced` when it was not all UTF-8."""

    file: SourceFile
    sections: tuple[Symbol, ...]
    links: tuple[ReferenceInfo, ...]
    replaced: bool = False

    @property
    def title(self) -> str | None:
        """The name of the first section, None without sections."""
        return self.sections[0].name if self.sections else None


@dataclass(frozen=True)
class Unreadable:
    """A file that could not be read, and why."""

    file: SourceFile
    reason: str


def link_target(link: ReferenceInfo) -> str:
    """The target of a link on one line: its path and its anchor."""
    return link.name if link.qualifier is None else f"{link.name}#{link.qualifier}"


def parse(text: str) -> Node:
    """Return the root of the block tree of a document's text."""
    return parse_bytes(text.encode("utf-8"))


def parse_bytes(data: bytes) -> Node:
    """Return the root of the block tree of a document's text in UTF-8, which the tree keeps."""
    return _PARSER.parse(data).root_node


def sections_of(root: Node, text: str, prefix: str) -> list[Symbol]:
    """Return the sections of a document, FQNs numbered from scratch."""
    return extract_sections(root, text, prefix, 0, unique_fqn=FqnNumbering(), cap_docstring=cap_docstring)


def unnumbered_sections_of(root: Node, text: str) -> list[Symbol]:
    """The same for who asks for no FQNs, in less time: these are as they come."""
    return extract_sections(root, text, "", 0, unique_fqn=str, cap_docstring=cap_docstring)


def document_of(file: SourceFile, root: Node, text: str, *, replaced: bool) -> Document:
    """Return what a file holds, given its text and that text's block tree."""
    sections = sections_of(root, text, file.prefix)
    return Document(file, tuple(sections), tuple(extract_links(root, sections)), replaced)


def read_document(file: SourceFile) -> Document | Unreadable:
    """Read one file. Errors are returned, not raised, so that they come back from other processes too."""
    try:
        text, replaced = read_text(file.path)
    except OSError as error:
        return Unreadable(file, error.strerror or str(error))
    return document_of(file, parse(text), text, replaced=replaced)
