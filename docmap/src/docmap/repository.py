"""The files of a repository, by path, and the facts of its documents.

Paths are relative to the repository's root, with "/", without "." and ".."; the root itself is "".
"""

from __future__ import annotations

from collections.abc import Mapping
from typing import Protocol

from docmap.facts import Facts


class Repository(Protocol):
    """What a site may ask of the repository that it lies in."""

    # All files but those of .git and node_modules; what Git ignores is there all the same.
    files: Mapping[str, object]
    # All folders, "" among them.
    folders: Mapping[str, object]
    # The Markdown files, sorted by folder: not what Git ignores.
    documents: list[str]

    def facts(self, path: str) -> Facts | None:
        """What a document holds; None for what is no document or cannot be read."""

    def text(self, path: str) -> str | None:
        """The text of a file, as of a configuration; None when it is missing or cannot be read."""

    def in_other_case(self, path: str) -> str | None:
        """The file or folder whose path differs from this in letter case alone, if there is one."""

    def doubt(self, path: str) -> str | None:
        """Why nothing can be said of a path where no file was found: Git ignores it, its folder is unreadable,
        it lies outside the repository. None when it is surely missing."""
