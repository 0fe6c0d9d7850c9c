"""A site: some of the files of a repository, and what its rules say of their links and anchors.

Paths are relative to the repository, with "/" and without "." and ".."; "" is its root. Addresses are what a
browser asks the site for, without the site's base: they begin with "/", and a page's may end with it.
"""

from __future__ import annotations

import posixpath
import re
from collections.abc import Callable, Sequence
from functools import cached_property, lru_cache
from importlib import import_module
from typing import Final, TypeVar, cast

from docmap.facts import WIKI, Construct, Facts, Link
from docmap.repository import Repository
from docmap.sites import anchors
from docmap.sites.anchors import DEEPEST_INCLUDE, Anchors
from docmap.sites.fields import links_of_fields
from docmap.sites.resolution import BESIDE, FOUND, Resolution, doubtful, found, made_perhaps, missing
from docmap.sites.rules import NO_EFFECT, Effect, Rules

_T = TypeVar("_T")

# Fewer than these may be found by chance: [[1]] and [[x]] are text in many documents.
_FEWEST_WIKI_LINKS: Final = 3

# Several ways ask for the same place of a link, one after the other.
_REMEMBERED: Final = 1024

# All labels of a document are looked for around the same few pages, one after the other.
_REMEMBERED_LABELS: Final = 64


class Site:
    """One site of a repository: some of its files, and the rules that these go by."""

    def __init__(
        self,
        rules: Rules,
        repository: Repository,
        root: str,
        content: str | None = None,
        defined_by: str = "",
    ) -> None:
        """`root`: the folder that the configuration stands in; `content`: that of the pages, if another;
        `defined_by`: the path of the file that defines the site, "" for none."""
        self.rules = rules
        self.repository = repository
        self.root = root
        self.content = root if content is None else content
        self.defined_by = defined_by
        # The site's documents; set once all sites are known, since a file belongs to the innermost.
        self.pages: list[str] = []
        self._anchors: dict[str, Anchors] = {}
        self._facts: dict[str, Facts] = {}
        self._once: dict[object, object] = {}
        self._effects: dict[tuple[str, str], Effect] = {}
        self._includes: dict[str, list[str]] = {}
        self._labels: dict[tuple[str, str], tuple[frozenset[str], str | None]] = {}

    def once(self, work: Callable[[Site], _T]) -> _T:
        """What `work` finds of this site; it is asked once."""
        if work not in self._once:
            self._once[work] = work(self)
        return cast(_T, self._once[work])

    def facts(self, path: str) -> Facts | None:
        """What a document holds, with what is Markdown to this site though the grammar calls it code."""
        facts = self.repository.facts(path)
        if facts is None or not facts.bodies:
            return facts
        more = self.rules.bodies_by_suffix.get(posixpath.splitext(path)[1], ())
        if not (self.rules.bodies or more):
            return facts
        if path not in self._facts:
            self._facts[path] = facts.with_bodies((*self.rules.bodies, *more))
        return self._facts[path]

    # --- Addresses ---

    @cached_property
    def addresses(self) -> dict[str, list[str]]:
        """The addresses of each page, the one that its relative links start from first."""
        if self.rules.addresses is not None:
            self.repository.read_ahead(self.pages)
        return {page: self._addresses_of(page) for page in self.pages}

    def _addresses_of(self, page: str) -> list[str]:
        # Most sites make addresses of paths alone; their pages need not be read for these.
        facts = None if self.rules.addresses is None else self.facts(page)
        if self.rules.addresses is not None and facts is not None:
            own = self.rules.addresses(self, page, facts)
            if own is not None:
                return list(own)
        return self.addresses_by_path(page)

    def addresses_by_path(self, page: str, styles: Sequence[str] = ()) -> list[str]:
        """The addresses that follow from the path of a page."""
        stem, _ = posixpath.splitext(self.within(page, self.content) or posixpath.basename(page))
        folder, name = posixpath.split(stem)
        if name in self.rules.index_names:
            return [f"/{folder}/" if folder else "/", f"/{stem}.html"]
        by_style = {"slash": f"/{stem}/", "html": f"/{stem}.html", "bare": f"/{stem}"}
        return [by_style[style] for style in (styles or (self.rules.url_style, *self.rules.served_as))]

    @cached_property
    def pages_by_address(self) -> dict[str, list[str]]:
        """The pages of each address."""
        pages: dict[str, list[str]] = {}
        for page, addresses in self.addresses.items():
            for address in addresses:
                pages.setdefault(address, []).append(page)
        return pages

    def _start_of(self, source: str) -> str | None:
        """The address from which the relative links of a document start, None for what is no page."""
        return next(iter(self.addresses.get(source) or self._addresses_of_draft(source)), None)

    def _addresses_of_draft(self, path: str) -> Sequence[str]:
        if self.rules.drafts is None or path not in self.addresses:
            return ()
        facts = self.facts(path)
        return () if facts is None else self.rules.drafts(self, path, facts)

    def address_of(self, path: str, source: str) -> str:
        """The address that a path in the page `source` stands for, normalised, without the site's base."""
        if path.startswith("/"):
            base = self.rules.base.rstrip("/")
            if base and (path == base or path.startswith(base + "/")):
                path = path[len(base) :] or "/"
        else:
            start = self._start_of(source)
            start = start if start is not None else "/" + (self.within(source, self.content) or source)
            path = (start.rpartition("/")[0] + "/" + path) if path else start
        return self.normalised_address(path)

    @staticmethod
    @lru_cache(_REMEMBERED)
    def normalised_address(path: str) -> str:
        """An address without "." and ".." and double slashes; a slash at the end stays."""
        end = "/" if path.endswith(("/", "/.", "/..")) else ""
        return (posixpath.normpath("/" + path.lstrip("/")).rstrip("/") + end) or "/"

    @staticmethod
    def within(path: str, folder: str) -> str | None:
        """`path` relative to `folder`, None when it lies elsewhere."""
        if not folder:
            return path
        return path[len(folder) + 1 :] if path.startswith(folder + "/") else None

    @cached_property
    def files_by_name(self) -> dict[str, list[str]]:
        """The repository's files by the first part of their names: "a/Tabs.test.tsx" by "Tabs"."""
        files: dict[str, list[str]] = {}
        for path in self.repository.files:
            files.setdefault(posixpath.basename(path).partition(".")[0], []).append(path)
        return files

    # --- Partials ---

    @cached_property
    def includers(self) -> dict[str, list[str]]:
        """The pages that a file is included in, by file."""
        pages: dict[str, list[str]] = {}
        if not self.may_include:
            return pages
        self.repository.read_ahead(self.pages)
        for page, addresses in self.addresses.items():
            seen = {page}
            level = [page] if addresses else []
            if addresses and self.rules.appended:
                level += self.rules.appended
                seen.update(level)
                for appended in self.rules.appended:
                    pages.setdefault(appended, []).append(page)
            for _ in range(DEEPEST_INCLUDE):
                level = self._included_next(level, seen, self.facts)
                for included in level:
                    pages.setdefault(included, []).append(page)
                if not level:
                    break
        return pages

    def _included_next(
        self, level: list[str], seen: set[str], facts_of: Callable[[str], Facts | None]
    ) -> list[str]:
        """What these files include beyond what has been seen, which it is then."""
        found: dict[str, None] = {}
        for source in level:
            facts = facts_of(source)
            if facts is not None:
                if source not in self._includes:
                    self._includes[source] = self._includes_of(facts, source)
                found.update(dict.fromkeys(one for one in self._includes[source] if one not in seen))
        seen.update(found)
        return list(found)

    def _includes_of(self, facts: Facts, source: str) -> list[str]:
        included = (self.included_by(construct, source) for construct in facts.constructs)
        return [path for path in dict.fromkeys(included) if path is not None]

    def labels_around(self, path: str, page: str) -> tuple[frozenset[str], str | None]:
        """The labels that a page and what it includes define, for a part of it or itself, and what of it is not here."""
        if (path, page) not in self._labels:
            if len(self._labels) >= _REMEMBERED_LABELS:
                self._labels.clear()
            self._labels[path, page] = self._labels_around(path, page)
        return self._labels[path, page]

    def _labels_around(self, path: str, page: str) -> tuple[frozenset[str], str | None]:
        def facts_of(source: str) -> Facts | None:
            return self.facts(source) or self.repository.facts(source, suffixes=("",))

        labels: set[str] = set()
        missing: str | None = None
        seen = {path, page}
        level = sorted(seen)
        for _ in range(DEEPEST_INCLUDE):
            for source in level:
                facts = facts_of(source)
                missing = missing or (source if facts is None else None)
                labels.update(() if facts is None else facts.labels)
            level = self._included_next(level, seen, facts_of)
            if not level:
                break
        return frozenset(labels), missing or next(iter(level), None)

    def included_by(self, construct: Construct, source: str) -> str | None:
        """The file that a construct in the file `source` brings in, None where it brings none or none that is named."""
        includes = self.effect_of(construct).includes
        return None if includes is None else includes(self, construct, source)

    @property
    def may_include(self) -> bool:
        """Whether any construct brings other files into a page."""
        return any(effect.includes is not None for effect in self.rules.effects.values())

    def sources_of(self, path: str) -> tuple[str, ...]:
        """The pages in which a reader meets the text of a document: its own, be it a draft, or those that include it;
        () for a document that the site shows nowhere."""
        if self.addresses.get(path) or self._addresses_of_draft(path):
            return (path,)
        pages = tuple(self.includers.get(path, ()))
        return (*pages, path) if pages and self.rules.partials_keep_paths else pages

    def is_part(self, path: str) -> bool:
        """Whether a document is a part of pages that nothing here names."""
        place = self.within(path, self.content)
        return self.rules.parts is not None and place is not None and bool(re.match(self.rules.parts, place))

    @cached_property
    def notes(self) -> Site | None:
        """The site by whose rules wiki links are followed: this one; a vault of its pages, when most wiki links in
        these find a page by name; else None, and [[text]] is text."""
        if self.rules.wiki_links:
            return self
        module = import_module("docmap.sites.vault")
        vault: Site = module.make(self.repository, self.content)
        vault.pages = self.pages
        pages = [page for page in self.pages if self.repository.may_hold(page, b"[[")]
        self.repository.read_ahead(pages)
        texts = ((page, facts) for page in pages if (facts := self.facts(page)) is not None)
        links = [
            (link, page)
            for page, facts in texts
            for link in facts.links
            if link.form == WIKI and link.path and link.inside is None
        ]
        finds = sum(module.finds(vault, link, page) for link, page in links)
        return vault if finds >= _FEWEST_WIKI_LINKS and 2 * finds > len(links) else None

    # --- Links ---

    def links_of(self, facts: Facts) -> list[Link]:
        """The links of a document: those of front matter that the theme shows, then those of its text."""
        if self.rules.fields is None or not facts.front_matter:
            return facts.links
        return links_of_fields(facts, self.rules.fields(facts)) + facts.links

    def resolve(self, link: Link, source: str) -> Resolution:
        """Where a link of the file `source` leads; links with an empty path lead to `source` itself."""
        return self._followed(link, source) or self.nothing_at(link.path, source)

    def pages_at(self, link: Link, source: str) -> tuple[str, ...] | None:
        """The pages that `resolve` finds, () for what is no page; None when it does not surely find anything."""
        resolution = self._followed(link, source)
        if resolution is None and self.rules.rewritten is None:
            resolution = self._made(link.path, source)
        return resolution.pages if resolution is not None and resolution.outcome == FOUND else None

    def _followed(self, link: Link, source: str) -> Resolution | None:
        """What the first of the ways says that has an answer; None when none has."""
        ways = self.rules.ways.get(link.form)
        for way in self.rules.ways["link"] if ways is None else ways:
            resolution = way(self, link, source)
            if resolution is not None:
                return resolution
        return None if link.path else found(source)

    def _made(self, path: str, source: str) -> Resolution | None:
        """What the site makes at the address of a path, surely or perhaps; None when it makes nothing there."""
        address = self.address_of(path, source) if self.rules.made else ""
        for pattern, why in self.rules.made.items():
            if re.fullmatch(pattern, address):
                return found() if why is None else made_perhaps(why)
        return None

    def nothing_at(self, path: str, source: str) -> Resolution:
        """The answer when no way led anywhere: made by the site, doubtful, or missing."""
        if self.rules.rewritten is not None:
            return doubtful(self.rules.rewritten)
        made = self._made(path, source)
        if made is not None:
            return made
        # Most programs make addresses; a link to a source file is followed before they could.
        is_source = path.lower().endswith(self.rules.page_suffixes)
        why = self.rules.any_source if is_source else self.rules.any_target
        if why is not None:
            return made_perhaps(why)
        if self.rules.addresses is not None and not is_source and self.unread_page is not None:
            return made_perhaps(f"{self.unread_page} cannot be read, and may say that this is its address")
        if self.defined_by and not is_source and self.climbs_out(path, source):
            return doubtful(BESIDE)
        if path.startswith("/"):
            folders = self.content, *self.rules.static
            places = [self.normalised_path(posixpath.join(folder, path.lstrip("/"))) for folder in folders]
        else:
            places = [posixpath.normpath(self.place(path, source))]
        for place in places:
            why = self.repository.doubt(place)
            if why is not None:
                return doubtful(why)
        return missing()

    @property
    def unread_page(self) -> str | None:
        """A page that cannot be read, if there is one."""
        # Which pages cannot be read is known only after their addresses have been asked for.
        addresses = self.addresses
        return next((path for path in self.repository.unread if path in addresses), None)

    def climbs_out(self, path: str, source: str) -> bool:
        """Whether a relative path leads above the site's own address, where other sites of its host may be."""
        start = self._start_of(source)
        if start is None or path.startswith("/"):
            return False
        depth = start.count("/") - 1
        for part in path.split("/"):
            depth += -1 if part == ".." else part not in {"", "."}
            if depth < 0:
                return True
        return False

    @staticmethod
    @lru_cache(_REMEMBERED)
    def place(path: str, source: str) -> str:
        """The path that a path relative to the file `source` stands for; begins with "../" outside the root."""
        place = posixpath.normpath(posixpath.join(posixpath.dirname(source), path))
        return "" if place == "." else place

    @staticmethod
    @lru_cache(_REMEMBERED)
    def normalised_path(path: str) -> str:
        """A path without "." and "..", as far as there are folders for these."""
        return posixpath.normpath(path)

    # --- Anchors ---

    def anchors(self, page: str) -> Anchors:
        """The anchors of a document."""
        if page not in self._anchors:
            self._anchors[page] = anchors.read(self, page)
        return self._anchors[page]

    def effect_of(self, construct: Construct) -> Effect:
        """What a construct does to a page of this site."""
        key = construct.form, construct.name
        if key not in self._effects:
            effects = self.rules.effects
            named = effects.get(f"{construct.form}:{construct.name}")
            self._effects[key] = named or effects.get(construct.form, NO_EFFECT)
        return self._effects[key]
