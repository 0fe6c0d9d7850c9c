"""Where a link leads, as a site answers."""

from __future__ import annotations

from collections.abc import Collection
from typing import Final, NamedTuple

FOUND: Final = "found"
MISSING: Final = "missing"
DOUBTFUL: Final = "doubtful"


class Resolution(NamedTuple):
    """Where a link leads.

    Found: `pages` are the documents that it may lead to (the likeliest first); without any, it leads to something
    that is no document (an image, a folder, an address that the site makes), whose anchors nobody judges.
    Missing: `why` adds to "no file": a reason that helps the author, or None.
    Doubtful: `why` is what decides, as in "made by the preprocessor `graphs` of book.toml?".
    """

    outcome: str
    pages: tuple[str, ...] = ()
    why: str | None = None
    # Doubtful because something may make what is asked for; nobody makes what is one slip away from a name that is there.
    is_made: bool = False
    # Of what is no file, the names that may have been meant.
    names: Collection[str] = ()
    # The anchor that a template's target holds; the link itself then has none.
    anchor: str | None = None


# What a path above the site's own address may lead to.
BESIDE: Final = "it leads out of the site; is another served beside it?"


def found(*pages: str) -> Resolution:
    """These documents; none for something that is no document."""
    return Resolution(FOUND, pages)


def missing(why: str | None = None) -> Resolution:
    """Nothing is there."""
    return Resolution(MISSING, why=why)


def made_perhaps(why: str) -> Resolution:
    """Something that cannot be read may make it: doubtful, unless it is a slip for a name that is there."""
    return Resolution(DOUBTFUL, why=why, is_made=True)


def doubtful(why: str) -> Resolution:
    """Something that cannot be read decides."""
    return Resolution(DOUBTFUL, why=why)
