"""How a site of Hugo makes addresses of its content."""

from __future__ import annotations

import posixpath
import re
from collections.abc import Collection, Mapping, Sequence
from functools import lru_cache
from typing import Any, NamedTuple

from docmap.facts import Facts
from docmap.sites import literals
from docmap.sites.site import Site

SUFFIXES = (".md", ".markdown", ".mdown")
_INDEXES = tuple(f"/index{suffix}" for suffix in SUFFIXES)
# What an address does not take over from names of files and titles.
_DROPPED = re.compile(r"[^\w\s./~+@-]")
_SPACES = re.compile(r"\s+")
# A name in a pattern of addresses: ":slug", ":sections[1:]"; of a slice all steps are taken.
_PERMALINK = re.compile(r":(\w+)(?:\[[^\]]*\])?")


class Root(NamedTuple):
    """A folder (or a file) of content: where it lies, as what path of the content, of which language ("": any)."""

    folder: str
    target: str = ""
    language: str = ""

    def path_of(self, place: str) -> str | None:
        """The path in the content of a file or folder of the repository; None for what lies elsewhere."""
        below = "" if place == self.folder else Site.within(place, self.folder)
        return None if below is None else posixpath.join(self.target, below).rstrip("/")


def content_path(roots: Sequence[Root], place: str) -> tuple[str, str] | None:
    """The language and the path in the content of a file or folder, by the innermost root around it."""
    found = [
        (len(root.folder), root.language, path) for root in roots if (path := root.path_of(place)) is not None
    ]
    return max(found)[1:] if found else None


class Pages:
    """How one site makes addresses of its content."""

    def __init__(
        self,
        roots: Sequence[Root],
        languages: Collection[str],
        default: str,
        permalinks: Mapping[str, str],
        ugly: bool,
    ) -> None:
        self.roots, self.languages, self.default = roots, languages, default
        self.permalinks, self.ugly = permalinks, ugly
        self._tops = frozenset(root.folder for root in roots)

    def addresses(self, site: Site, page: str, facts: Facts) -> Sequence[str]:
        """Those of a page: its own or that of its path, and its aliases; () for what is part of a bundle."""
        if not page.lower().endswith(SUFFIXES):
            return ()
        language, folder, name = self._route(site, page)
        around = posixpath.dirname(page)
        if name not in {"index", "_index"} and self._in_leaf_bundle(site, around):
            return ()
        own = facts.fields if self.permalinks else facts.fields_with("aliases", "slug", "url")
        fields = {str(key).lower(): value for key, value in own.items()}
        address = self._address(folder, name, fields)
        prefix = f"/{language}" if language and language != self.default else ""
        addresses = [prefix + address]
        aliases = fields.get("aliases")
        for alias in literals.texts(aliases):
            start = posixpath.dirname(address.rstrip("/"))
            alias = posixpath.normpath(posixpath.join("/", start, alias))
            addresses.append(prefix + alias)
        return [form for address in addresses for form in forms(address)]

    def _route(self, site: Site, page: str) -> tuple[str, str, str]:
        """The language of a content file, its folder and its name, both below that language's content."""
        language, place = content_path(self.roots, page) or ("", site.within(page, site.content) or page)
        folder, name = posixpath.split(posixpath.splitext(place)[0])
        base, _, suffix = name.rpartition(".")
        return (suffix, folder, base) if base and suffix in self.languages else (language, folder, name)

    def _in_leaf_bundle(self, site: Site, folder: str) -> bool:
        bundles = site.once(_leaf_bundles)
        while bundles and folder and folder != site.content and folder not in self._tops:
            if folder in bundles:
                return True
            folder = folder.rpartition("/")[0]
        return False

    def _address(self, folder: str, name: str, fields: Mapping[str, Any]) -> str:
        """The address of a page without its language; `folder` and `name` as `_route` gives them."""
        url = fields.get("url")
        if isinstance(url, str) and url:
            return posixpath.join("/", url)
        folder = urlized(folder)
        section = folder.partition("/")[0]
        slug = fields.get("slug")
        if name == "_index":
            return posixpath.join("/", folder, "")
        if name == "index":
            folder, name = posixpath.split(folder)
        pattern = self.permalinks.get(section)
        if pattern is not None:
            return _filled(pattern, folder, name, fields)
        last = slug if isinstance(slug, str) and slug else name
        return posixpath.join("/", folder, urlized(last)) + (".html" if self.ugly else "/")


def _leaf_bundles(site: Site) -> frozenset[str]:
    """The folders that are one page with its files."""
    return frozenset(path.rpartition("/")[0] for path in site.repository.files if path.endswith(_INDEXES))


def forms(address: str) -> list[str]:
    """An address, and what servers lead to it."""
    if address == "/" or posixpath.splitext(address)[1] == ".html":
        return [address]
    return [address.rstrip("/") + "/", address.rstrip("/"), address.rstrip("/") + "/index.html"]


@lru_cache(1024)
def urlized(path: str) -> str:
    """A path, title or term as addresses have it: "My Page!" is "my-page"."""
    return _SPACES.sub("-", _DROPPED.sub("", path)).lower()


def _filled(pattern: str, folder: str, name: str, fields: Mapping[str, Any]) -> str:
    """The address by a pattern of `permalinks`; a name in it that is not known here stays as it is."""
    date = str(fields.get("date") or fields.get("publishdate") or "")
    dated = re.match(r"(\d{4})-(\d\d)-(\d\d)", date)
    year, month, day = ("", "", "") if dated is None else dated.groups()
    slug = str(fields.get("slug") or "")
    title = urlized(str(fields.get("title") or name))
    values = {
        "year": year, "month": month, "day": day, "title": title, "slug": slug or title, "filename": name,
        "contentbasename": name, "slugorfilename": slug or name, "slugorcontentbasename": slug or name,
        "section": folder.partition("/")[0], "sections": folder,
    }  # fmt: skip
    path = _PERMALINK.sub(lambda match: values.get(match[1].lower(), match[0]), pattern)
    return urlized(posixpath.normpath(posixpath.join("/", path))) + (
        "/" if not path.endswith(".html") else ""
    )
