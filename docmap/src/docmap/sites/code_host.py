"""The code host: where a repository's documents are read when no site is made of them."""

from __future__ import annotations

import re
from collections.abc import Iterator

from docmap.facts import EMBED, WIKI
from docmap.repository import Repository
from docmap.sites.site import Rules, Site, file_beside, file_from_root, itself

KIND = "code-host"

_DROPPED = re.compile(r"[^\w\- ]")


def slug(text: str) -> str:
    """The anchor of a heading: lower case, punctuation dropped, each space a hyphen."""
    return _DROPPED.sub("", text.strip().lower()).replace(" ", "-")


RULES = Rules(
    kind=KIND,
    ways={"link": (itself, file_beside, file_from_root), WIKI: (), EMBED: ()},
    slug=slug,
    html_headings=True,
    compare=str.lower,
)


def find(repository: Repository) -> Iterator[str]:
    """Nothing defines one: it is what remains."""
    yield from ()


def make(repository: Repository, root: str) -> Site | None:
    """The code host's view of the whole repository."""
    return Site(RULES, repository, root)
