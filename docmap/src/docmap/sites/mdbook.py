"""mdBook: a folder with book.toml."""

from __future__ import annotations

import posixpath
import re
from collections.abc import Iterator

from docmap.facts import HASH, Construct
from docmap.repository import Repository
from docmap.sites.site import Effect, Rules, Site, file_beside, file_from_content, itself, page_at_address

KIND = "mdbook"

_SPACE = re.compile(r"\s")


def slug(text: str) -> str:
    """The anchor of a heading."""
    kept = (c.lower() for c in text.strip() if c.isalnum() or c in "_-" or c.isspace())
    return _SPACE.sub("-", "".join(kept))


def _included(site: Site, construct: Construct, page: str) -> str | None:
    return site.place(construct.arguments.partition(":")[0].strip(), page)


RULES = Rules(
    kind=KIND,
    ways={"link": (itself, file_beside, file_from_content, page_at_address)},
    index_names=("index", "README"),
    slug=slug,
    custom_id=r"\{#([^\s{}]+)[^{}]*\}\s*$",
    effects={f"{HASH}:include": Effect(includes=_included, anchors="included by line {line}?")},
)


def find(repository: Repository) -> Iterator[str]:
    """The folders of all book.toml."""
    for path in repository.files:
        if posixpath.basename(path) == "book.toml":
            yield posixpath.dirname(path)


def make(repository: Repository, root: str) -> Site | None:
    """The book in a folder."""
    return Site(RULES, repository, root, posixpath.join(root, "src"), posixpath.join(root, "book.toml"))
