"""Finds the page or file that a broken link may have meant, in the writer's own form."""

from __future__ import annotations

import posixpath
from collections.abc import Iterator, Sequence
from heapq import nsmallest
from typing import NamedTuple

from docmap.documents import PAGE_SUFFIXES, PICTURE_SUFFIXES
from docmap.facts import DOC, EMBED, IMAGE, SRC, WIKI, Link
from docmap.repository import Repository
from docmap.sites.site import Site
from docmap.spelling import Names, Spelling

# How alike the names of files must be, from 0 to 1 as `Spelling` compares: more for a file of any folder.
_ALIKE_BESIDE, _ALIKE_ANYWHERE = 0.75, 0.85
# About a second. In a large repository thousands of files share a name such as "index".
_MOST_DISTANCES = 500_000


class _Files(NamedTuple):
    """Files by name, without suffix and letter case."""

    by_name: dict[str, list[str]]
    to_compare: Names


_NO_FILES = _Files({}, Names(()))


class ClosestPages:
    """What links of one repository may have meant; a link that others repeat is looked up once."""

    def __init__(self, repository: Repository, spelling: Spelling) -> None:
        self._repository, self._spelling = repository, spelling
        self._named: dict[str | None, _Files] = {}
        self._closest: dict[object, str | None] = {}
        self._distances_left = _MOST_DISTANCES

    def of(self, site: Site, link: Link, source: str) -> str | None:
        """A target in the form of this one that leads to a page that may have been meant; `source`: its page."""
        # All pages of a folder and language have the same to choose from.
        folder, name = posixpath.split(source)
        start = next(iter(site.addresses.get(source, ())), source)
        key = site, link.form, link.path, folder, posixpath.dirname(start), name.partition(".")[2]
        if key not in self._closest:
            self._closest[key] = self._find(site, link, source)
        return self._closest[key]

    def _find(self, site: Site, link: Link, source: str) -> str | None:
        wants_picture = link.form in {IMAGE, SRC, EMBED} or link.path.lower().endswith(PICTURE_SUFFIXES)
        for path in self._candidates(site, link, source):
            if not wants_picture and path.lower().endswith(PICTURE_SUFFIXES):
                continue
            written = self._spelled(site, link, source, path)
            if written is None or written == link.path:
                continue
            pages = site.pages_at(link._replace(path=written, anchor=None), source)
            if pages is not None and (not pages or path in pages):
                return written if link.form in {WIKI, EMBED} else written.replace(" ", "%20")
        return None

    def _candidates(self, site: Site, link: Link, source: str) -> Iterator[str]:
        """Files that may have been meant: of the same path but for case, of the same name, of a name alike."""
        wanted = link.path.rstrip("/")
        if link.path.startswith("/") or link.form in {WIKI, EMBED}:
            place = site.normalised_path(posixpath.join(site.content, wanted.lstrip("/")))
        else:
            place = site.place(wanted, source)
        other = self._repository.in_other_case(place)
        if other is not None and other in self._repository.files:
            yield other
        name = posixpath.basename(place)
        stem = _stem(name)
        anywhere = self._files()
        alike = self._nearest(anywhere.by_name.get(stem.casefold(), ()), place, source)
        shows = link.form in {IMAGE, SRC}
        fitting = [path for path in alike if shows != path.lower().endswith(PAGE_SUFFIXES)]
        yield from fitting or alike[:1]
        folder = posixpath.dirname(place)
        beside = self._files(folder)
        close = self._spelling.closest(
            stem.casefold(), beside.to_compare, _ALIKE_BESIDE, of=("beside", folder)
        )
        similar = [] if close is None else beside.by_name[close][:1]
        close = self._spelling.closest(stem.casefold(), anywhere.to_compare, _ALIKE_ANYWHERE, of="anywhere")
        if close is not None:
            similar += self._nearest(anywhere.by_name[close], place, source)[:1]
        yield from (path for path in similar if not (shows and path.lower().endswith(PAGE_SUFFIXES)))

    def _nearest(self, paths: Sequence[str], place: str, source: str) -> list[str]:
        """Of files of one name the five in folders most like that of `place`, those nearest to `source` first; none
        when it costs too much."""
        self._distances_left -= len(paths)
        if self._distances_left < 0:
            return []
        if len(paths) < 2:
            return [*paths]
        return nsmallest(5, paths, key=lambda path: (-_alike_above(path, place), _distance(path, source)))

    def _files(self, folder: str | None = None) -> _Files:
        """The files of a folder, or all."""
        if not self._named:
            names: dict[str | None, dict[str, list[str]]] = {None: {}}
            for path in self._repository.files:
                above, name = posixpath.split(path)
                key = _stem(name).casefold()
                names[None].setdefault(key, []).append(path)
                names.setdefault(above, {}).setdefault(key, []).append(path)
            self._named = {above: _Files(by_name, Names(by_name)) for above, by_name in names.items()}
        return self._named.get(folder, _NO_FILES)

    @staticmethod
    def _spelled(site: Site, link: Link, source: str, path: str) -> str | None:
        """The path of a file as this link would write it."""
        suffix = posixpath.splitext(path)[1]
        has_suffix = bool(posixpath.splitext(link.path)[1])
        if link.form in {WIKI, EMBED}:
            name = path if "/" in link.path else posixpath.basename(path)
            return (
                name if has_suffix or not suffix.lower().endswith(site.rules.page_suffixes) else _stem(name)
            )
        if link.path.startswith("/"):
            within = site.within(path, site.content)
            for folder in site.rules.static:
                within = site.within(path, folder) if within is None else within
            if within is None:
                return None
            written = f"/{within}"
        else:
            written = posixpath.relpath(path, posixpath.dirname(source) or ".")
            if link.path.startswith("./"):
                written = f"./{written}" if not written.startswith("../") else written
        takes_suffix = has_suffix or site.rules.needs_suffix
        if takes_suffix or not suffix.lower().endswith(site.rules.page_suffixes):
            is_address = posixpath.splitext(link.path)[1].lower() == ".html" and path in site.addresses
            return f"{_stem(written)}.html" if is_address else written
        if site.addresses.get(path) and link.form != DOC:
            address = site.addresses[path][0]
            if link.path.startswith("/"):
                return address if link.path.endswith("/") else address.rstrip("/") or "/"
            start = site.addresses.get(source) or ["/" + source]
            relative = posixpath.relpath(address.rstrip("/") or "/", posixpath.dirname(start[0] + "x"))
            return relative + "/" if link.path.endswith("/") else relative
        return _stem(written)


def _stem(path: str) -> str:
    return posixpath.splitext(path)[0]


def _alike_above(path: str, place: str) -> int:
    """How many of the folders above two files are called the same, from the innermost on, without letter case."""
    ours, theirs = path.casefold().split("/")[-2::-1], place.casefold().split("/")[-2::-1]
    alike = 0
    while alike < min(len(ours), len(theirs)) and ours[alike] == theirs[alike]:
        alike += 1
    return alike


def _distance(path: str, source: str) -> tuple[int, str]:
    """How far a file is from another, in folders to go up and down; the path itself settles a tie."""
    ours, theirs = path.split("/"), source.split("/")[:-1]
    shared = 0
    while shared < len(theirs) and ours[shared] == theirs[shared]:
        shared += 1
    return len(ours) + len(theirs) - 2 * shared - 1, path
