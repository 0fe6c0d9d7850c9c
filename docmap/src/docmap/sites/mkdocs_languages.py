"""Translations by MkDocs' plugin i18n: which file stands for another, and at which addresses it is served."""

from __future__ import annotations

import posixpath
import re
from collections.abc import Iterator
from typing import Any, NamedTuple

from docmap.facts import Link
from docmap.sites import literals
from docmap.sites.resolution import Resolution
from docmap.sites.site import Site
from docmap.sites.ways import site_file


class Languages(NamedTuple):
    """The languages of a site, its usual one first, and whether each has a folder (en/a.md) or a suffix (a.en.md)."""

    names: tuple[str, ...]
    by_folder: bool

    @classmethod
    def of(cls, options: dict[str, Any] | None) -> Languages:
        """What the options of the plugin say; no languages without these."""
        entries = literals.get(options, "languages")
        if isinstance(entries, dict):
            usual, names = literals.text(options, "default_language"), [str(name) for name in entries]
        else:
            tables = [entry for entry in literals.entries(options, "languages") if isinstance(entry, dict)]
            names = [literals.text(entry, "locale") for entry in tables]
            usual = next(
                (literals.text(entry, "locale") for entry in tables if entry.get("default") is True), ""
            )
        names = [name for name in dict.fromkeys((usual, *names)) if re.fullmatch(r"[\w-]+", name)]
        return cls(tuple(names), literals.text(options, "docs_structure") == "folder")

    def split(self, place: str) -> tuple[str, str]:
        """The language of a file of the site, the usual one where the path names none, and the path without it."""
        if self.by_folder:
            first, _, rest = place.partition("/")
            return (first, rest) if rest and first in self.names else (self.names[0], place)
        stem, suffix = posixpath.splitext(place)
        rest, _, last = stem.rpartition(".")
        return (last, rest + suffix) if rest and last in self.names else (self.names[0], place)

    def addresses(self, language: str, address: str) -> Iterator[str]:
        """Where what would be at an address without languages is served: pages of the usual one are there in all."""
        usual, *others = self.names
        if language != usual:
            yield f"/{language}{address}"
        else:
            yield address
            yield from (f"/{other}{address}" for other in others)

    def way(self, site: Site, link: Link, source: str) -> Resolution | None:
        """A file in the language of the source, else in the usual one, else in none; a link names the plain one."""
        place = site.within(site.place(link.path, source), site.content)
        if place is None or not self.names:
            return None
        language, _ = self.split(site.within(source, site.content) or source)
        names = language, self.names[0]
        if self.by_folder:
            _, plain = self.split(place)
            places = [place, *(f"{name}/{plain}" for name in names), plain]
        else:
            stem, suffix = posixpath.splitext(place)
            places = [*(f"{stem}.{name}{suffix}" for name in names), place]
        files = (posixpath.join(site.content, one) for one in places)
        shown = (one for one in files if one in site.repository.files and site.addresses.get(one) != [])
        file = next(shown, None)
        return None if file is None else site_file(site, file)
