"""Prints documents as JSON Lines: one section or link a line, its file in each."""

from __future__ import annotations

import json
from collections.abc import Iterator
from typing import TYPE_CHECKING, Any

if TYPE_CHECKING:
    from docmap.reading import Document


def document_lines(document: Document) -> Iterator[str]:
    """Yield a document's sections, then its links, one JSON object a line, keys in a fixed order."""
    file = document.file.shown
    for section in document.sections:
        yield json_line(
            type="section",
            file=file,
            name=section.name,
            fqn=section.fqn,
            start_line=section.start_line,
            end_line=section.end_line,
            signature=section.signature,
            docstring=section.docstring,
        )
    for link in document.links:
        yield json_line(
            type="link",
            file=file,
            path=link.name,
            anchor=link.qualifier,
            line=link.line,
            kind=link.kind,
            source_fqn=link.source_fqn,
        )


def json_line(**fields: Any) -> str:
    """One JSON object, newline included; only ASCII, since text and file names may hold lone surrogates."""
    return json.dumps(fields) + "\n"
