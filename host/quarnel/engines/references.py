"""The record that an engine makes of each reference to another file, and its kinds."""

from __future__ import annotations

from dataclasses import dataclass

REF_DOC_LINK = "doc_link"
REF_WIKI_LINK = "wiki_link"


@dataclass(frozen=True, slots=True)
class ReferenceInfo:
    """A reference as it is written. `line` counts from 1. `qualifier` is the anchor without its "#"."""

    name: str
    line: int
    kind: str
    qualifier: str | None
    source_fqn: str | None
