"""A site, the rules that it goes by, and what these say of a link and of an anchor.

Rules are one table a kind of site: what a site does as most do is left at its default, and what it does in its
own way is a function or a pattern of its module. A link is resolved by the first of its ways that has an answer;
ways that several kinds of sites share stand below.

Paths are relative to the repository, with "/" and without "." and ".."; "" is its root. Addresses are what a
browser asks the site for, without the site's base: they begin with "/", and a page's may end with it.
"""

from __future__ import annotations

import posixpath
import re
from collections.abc import Callable, Iterable, Mapping, Sequence
from dataclasses import dataclass, field, replace
from functools import cached_property, lru_cache
from importlib import import_module
from typing import Final, TypeVar, cast

from docmap.facts import INCLUDE, WIKI, Construct, Facts, Heading, Link, Named, lines_of
from docmap.repository import Repository

_T = TypeVar("_T")

# --- Answers -----------------------------------------------------------------------------------------------

FOUND: Final = "found"
MISSING: Final = "missing"
DOUBTFUL: Final = "doubtful"


@dataclass(frozen=True)
class Resolution:
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
    # The anchor that a template's target holds; the link itself then has none.
    anchor: str | None = None


NOTHING_TO_JUDGE: Final = Resolution(FOUND)


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


@dataclass(frozen=True)
class Anchors:
    """The anchors of a page: as they compare -> as they are written. Others exist perhaps, if `unknown_because`."""

    known: Mapping[str, str]
    unknown_because: str | None = None


# --- Rules -------------------------------------------------------------------------------------------------

# Says where a link of a source file leads, or None when this way says nothing about such a link.
Way = Callable[["Site", Link, str], "Resolution | None"]


@dataclass(frozen=True)
class Effect:
    """What a construct can do to the page it stands in.

    `includes`: the file that its arguments name becomes part of the page; a function that takes the site, the
    construct and the page and returns the file's path, or None for what cannot be told.
    `makes`: ids that it makes, from its arguments. `anchors`: why the page may have anchors that no text shows
    (`{form}`, `{name}` and `{line}` are filled in). `unknown`: the same, where the site or the construct decides.
    """

    includes: Callable[[Site, Construct, str], str | None] | None = None
    makes: Callable[[Construct], Iterable[str]] | None = None
    anchors: str | None = None
    unknown: Callable[[Site, Construct, str], str | None] | None = None


NO_EFFECT: Final = Effect()

# Fewer than these may be found by chance: [[1]] and [[x]] are text in many documents.
_FEWEST_WIKI_LINKS: Final = 3

# Several ways ask for the same place of a link, one after the other.
_REMEMBERED: Final = 1024


def numbered(first: int = 1, join: str = "-") -> Callable[[str, dict[str, int]], str]:
    """How repeats are told apart: the second `x` becomes x-1 (or x-2, x_1, ...), as long as that is free."""

    def unique(anchor: str, given: dict[str, int]) -> str:
        # `given` counts, for each anchor given so far, how often it came; a caller starts with an empty one.
        if anchor not in given:
            given[anchor] = 0
            return anchor
        while True:
            given[anchor] += 1
            candidate = f"{anchor}{join}{given[anchor] + first - 1}"
            if candidate not in given:
                given[candidate] = 0
                return candidate

    return unique


def as_it_is(text: str) -> str:
    """The text itself."""
    return text


def last_of_path(anchor: str) -> str:
    """The heading that an anchor of a wiki link names last: B of "A#B"."""
    return anchor.rpartition("#")[2]


@dataclass(frozen=True)
class Rules:
    """What holds for all sites of one kind, or, by `replace`, for one site whose configuration says otherwise."""

    kind: str  # as messages and settings name it: "mdbook"
    ways: Mapping[str, Sequence[Way]]  # by form of link; a form that is missing has the ways of "link"

    # Pages and their addresses.
    page_suffixes: tuple[str, ...] = (".md", ".markdown")
    # Whether the site makes a page of a document below its content root; what it does not take is the code host's.
    takes: Callable[[Site, str], bool] | None = None
    index_names: tuple[str, ...] = ("index",)  # stems served as their folder, the first that is there
    # "slash": /a/b/ for a/b.md, "html": /a/b.html, "bare": /a/b. Other spellings that also lead there: `served_as`.
    url_style: str = "html"
    served_as: tuple[str, ...] = ()
    # Addresses of a page instead of those that follow from its path (a slug, a permalink); the first is the one
    # from which relative links start; () for a file that makes no page; None: those that follow from the path.
    addresses: Callable[[Site, str, Facts], Sequence[str] | None] | None = None
    base: str = "/"  # the address of the site itself, which absolute links begin with
    absolute_links_need_base: bool = False  # else /x without it is a link into the site, too
    static: tuple[str, ...] = ()  # folders whose files are served from "/", relative to the repository
    # Files of the content root are served beside the pages: all but these suffixes; None: no file is.
    not_copied: tuple[str, ...] | None = ()
    redirects: Mapping[str, str] = field(default_factory=dict)  # old address -> new one, anchor and all
    # Addresses of pages that are no documents: scripts, HTML.
    other_pages: frozenset[str] = frozenset()
    # Addresses that the site makes itself: pattern of the whole address -> None, or why that is doubtful.
    made: Mapping[str, str | None] = field(default_factory=dict)
    # Why any address may be made without a file (a preprocessor, a plugin), if so.
    any_target: str | None = None
    # The same for links to source files: only what makes those before links are followed can do so.
    any_source: str | None = None
    # Wiki links: whether these are links here; else they are text.
    wiki_links: bool = False
    # Undefined labels: whether they are told; or why an undefined one may be defined after all.
    labels: bool = True
    any_label: str | None = None
    # Labels that every page has, since the site adds their definitions; in the form of `Facts.labels`.
    more_labels: frozenset[str] = frozenset()
    # Whether the links of a file that is part of a page start from that file (as modules do), too.
    partials_keep_paths: bool = False
    # Template parts, as a pattern of paths below the content root: what no page is known to include is not judged.
    parts: str | None = None
    # Form of the link -> None when it is not followed, else as the link says.
    unchecked_forms: frozenset[str] = frozenset()
    # Targets, as written, of which nothing can be said: pattern found in them -> why.
    filled_in: Mapping[str, str] = field(default_factory=dict)

    # Anchors.
    slug: Callable[[str], str] = as_it_is  # the anchor of a heading's text
    heading_text: Callable[[Heading], str] | None = (
        None  # what `slug` gets, when it is not the heading's text
    )
    repeats: Callable[[str, dict[str, int]], str] = field(default_factory=numbered)
    # Found at the end of a heading's text: group 1 is its id, and all of the match no text of the heading.
    custom_id: str | None = None
    compare: Callable[[str], str] = as_it_is  # anchors are equal when these are
    case_doubt: str | None = None  # why an anchor that is equal, but for letter case, is doubtful, if so
    heading_levels: range = range(1, 7)
    html_headings: bool = False  # <h2>Text</h2> gets an anchor of its text
    nested_headings: bool = True  # headings in quotes and list items get anchors
    ids: bool = True  # ids of HTML elements are anchors
    # Lists of `Facts` whose names are anchors, too: "attribute_ids", "block_ids", "targets", "terms".
    named: tuple[str, ...] = ()
    terms: bool = False  # terms of definition lists get anchors as headings do, numbered together with these
    more_anchors: Callable[[Site, str, Facts], Iterable[str]] | None = None
    # Why a page may have anchors that cannot be worked out from its text, if so.
    unread_anchors: Callable[[Site, str, Facts], str | None] | None = None
    always: str = r"|top|:~:.*"  # pattern of whole anchors that every page has
    # Effects of constructs: "form:name", else "form" -> effect. A form that is missing has no effect.
    effects: Mapping[str, Effect] = field(default_factory=dict)
    any_anchor: str | None = None  # why every page may have anchors that no text shows (a plugin), if so
    # What the grammar calls code and the site Markdown: kinds of `Body`, "fence:name" for one directive.
    bodies: tuple[str, ...] = ()
    # The part of a wiki link's anchor that names the heading or block: the last of "A#B" unless said otherwise.
    wiki_anchor: Callable[[str], str] = last_of_path
    # Kinds of spans in which links are none and headings no headings.
    literal: frozenset[str] = frozenset({"comment"})

    def changed(self, **fields: object) -> Rules:
        """These rules with some of them changed."""
        return replace(self, **fields)  # type: ignore[arg-type]


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

    def once(self, work: Callable[[Site], _T]) -> _T:
        """What `work` finds of this site; it is asked once."""
        if work not in self._once:
            self._once[work] = work(self)
        return cast(_T, self._once[work])

    def facts(self, path: str) -> Facts | None:
        """What a document holds, with what is Markdown to this site though the grammar calls it code."""
        facts = self.repository.facts(path)
        if facts is None or not facts.bodies or not self.rules.bodies:
            return facts
        if path not in self._facts:
            self._facts[path] = facts.with_bodies(self.rules.bodies)
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

    def address_of(self, path: str, source: str) -> str:
        """The address that a path in the page `source` stands for, normalised, without the site's base."""
        if path.startswith("/"):
            base = self.rules.base.rstrip("/")
            if base and (path == base or path.startswith(base + "/")):
                path = path[len(base) :] or "/"
        else:
            start = next(iter(self.addresses.get(source, ())), None)
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
            waiting = [page] if addresses else []
            while waiting:
                source = waiting.pop()
                facts = self.facts(source)
                for construct in facts.constructs if facts is not None else ():
                    effect = self.effect_of(construct)
                    included = (
                        effect.includes(self, construct, source) if effect.includes is not None else None
                    )
                    if included is not None and included not in seen:
                        seen.add(included)
                        waiting.append(included)
                        pages.setdefault(included, []).append(page)
        return pages

    @property
    def may_include(self) -> bool:
        """Whether any construct brings other files into a page."""
        return any(effect.includes is not None for effect in self.rules.effects.values())

    def sources_of(self, path: str) -> tuple[str, ...]:
        """The pages in which a reader meets the text of a document: its own, or those that include it; () for a
        document that the site shows nowhere."""
        if self.addresses.get(path):
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
        vault: Site = import_module("docmap.sites.vault").make(self.repository, self.content)
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
        finds = sum(vault.resolve(link, page).outcome == FOUND for link, page in links)
        return vault if finds >= _FEWEST_WIKI_LINKS and 2 * finds > len(links) else None

    # --- Links ---

    def resolve(self, link: Link, source: str) -> Resolution:
        """Where a link of the file `source` leads; links with an empty path lead to `source` itself."""
        ways = self.rules.ways.get(link.form)
        for way in self.rules.ways["link"] if ways is None else ways:
            resolution = way(self, link, source)
            if resolution is not None:
                return resolution
        return self.nothing_at(link.path, source) if link.path else found(source)

    def nothing_at(self, path: str, source: str) -> Resolution:
        """The answer when no way led anywhere: made by the site, doubtful, or missing."""
        address = self.address_of(path, source)
        for pattern, why in self.rules.made.items():
            if re.fullmatch(pattern, address):
                return found() if why is None else made_perhaps(why)
        # Most programs make addresses; a link to a source file is followed before they could.
        is_source = path.lower().endswith(self.rules.page_suffixes)
        why = self.rules.any_source if is_source else self.rules.any_target
        if why is not None:
            return made_perhaps(why)
        if self.rules.addresses is not None and not is_source and self.unread_page is not None:
            return made_perhaps(f"{self.unread_page} cannot be read, and may say that this is its address")
        if self.defined_by and not is_source and self._climbs_out(path, source):
            return doubtful("it leads out of the site; is another served beside it?")
        places = [self.place(path, source)]
        if path.startswith("/"):
            places = [
                posixpath.join(folder, path.lstrip("/")) for folder in (self.content, *self.rules.static)
            ]
        for place in places:
            why = self.repository.doubt(posixpath.normpath(place))
            if why is not None:
                return doubtful(why)
        return missing()

    @property
    def unread_page(self) -> str | None:
        """A page that cannot be read, if there is one."""
        # Which pages cannot be read is known only after their addresses have been asked for.
        addresses = self.addresses
        return next((path for path in self.repository.unread if path in addresses), None)

    def _climbs_out(self, path: str, source: str) -> bool:
        """Whether a relative path leads above the site's own address, where other sites of its host may be."""
        start = next(iter(self.addresses.get(source, ())), None)
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

    # --- Anchors ---

    def anchors(self, page: str) -> Anchors:
        """The anchors of a document."""
        if page not in self._anchors:
            self._anchors[page] = self._read_anchors(page)
        return self._anchors[page]

    def _read_anchors(self, page: str) -> Anchors:
        rules = self.rules
        names: list[str] = []
        why = self._collect(page, names, {}, {page})
        return Anchors({rules.compare(name): name for name in reversed(names)}, why or rules.any_anchor)

    def _collect(self, page: str, names: list[str], given: dict[str, int], seen: set[str]) -> str | None:
        """Add the anchors of a document and of those it includes; returns why there may be others."""
        rules, facts = self.rules, self.facts(page)
        if facts is None:
            return f"{page} cannot be read"
        why = None
        hidden = lines_of(facts.spans, rules.literal)
        # In document order, since repeats are numbered in it, across what is included.
        events: list[tuple[int, Heading | Construct | Named]] = [
            *((heading.line, heading) for heading in facts.headings),
            *((construct.line, construct) for construct in facts.constructs),
            *((term.line, term) for term in (facts.terms if rules.terms else ())),
        ]
        events.sort(key=lambda event: event[0])
        for line, event in events:
            in_comment = isinstance(event, Construct) and event.form == INCLUDE
            if not in_comment and line in hidden:
                continue
            if isinstance(event, Heading):
                anchor = self.anchor_of(event, given)
                if anchor:
                    names.append(anchor)
                continue
            if isinstance(event, Named):
                names.append(rules.repeats(rules.slug(event.name), given))
                continue
            effect = self.effect_of(event)
            if effect.makes is not None:
                names.extend(effect.makes(event))
            if effect.includes is not None:
                included = effect.includes(self, event, page)
                if (
                    included is not None
                    and included not in seen
                    and self.repository.facts(included) is not None
                ):
                    seen.add(included)
                    why = self._collect(included, names, given, seen) or why
                elif included is None or (included not in seen and included not in self.repository.files):
                    # A file that is there and no document (program text, data) has no anchors.
                    why = why or (effect.anchors and effect.anchors.format(**event._asdict()))
            elif effect.anchors is not None:
                why = why or effect.anchors.format(**event._asdict())
            if effect.unknown is not None:
                why = why or effect.unknown(self, event, page)
        if rules.ids:
            names.extend(named.name for named in facts.ids)
        for kind in rules.named:
            # A link names a block with the sign that marks it, so that no heading is taken for one.
            sign = "^" if kind == "block_ids" else ""
            names.extend(sign + named.name for named in getattr(facts, kind))
        if rules.more_anchors is not None:
            names.extend(rules.more_anchors(self, page, facts))
        if rules.unread_anchors is not None:
            why = why or rules.unread_anchors(self, page, facts)
        return why

    def anchor_of(self, heading: Heading, given: dict[str, int]) -> str | None:
        """The anchor of a heading, where those of the headings before it are in `given`."""
        rules = self.rules
        if heading.own_id is not None:
            return heading.own_id
        if (heading.html and not rules.html_headings) or (heading.nested and not rules.nested_headings):
            return None
        if heading.level not in rules.heading_levels:
            return None
        text = heading.text if rules.heading_text is None else rules.heading_text(heading)
        if rules.custom_id is not None:
            own = re.search(rules.custom_id, heading.raw)
            if own is not None and own[1]:
                given.setdefault(own[1], 0)
                return own[1]
            text = re.sub(rules.custom_id, "", text)
        return rules.repeats(rules.slug(text), given)

    def effect_of(self, construct: Construct) -> Effect:
        """What a construct does to a page of this site."""
        effects = self.rules.effects
        return effects.get(f"{construct.form}:{construct.name}") or effects.get(construct.form, NO_EFFECT)


# --- Ways that sites share ---------------------------------------------------------------------------------


def itself(site: Site, link: Link, source: str) -> Resolution | None:
    """A link without a path leads to the file that it stands in."""
    return None if link.path else found(source)


def file_beside(site: Site, link: Link, source: str) -> Resolution | None:
    """A path relative to the folder of its source, as it lies in the repository."""
    return None if link.path.startswith("/") else site_file(site, site.place(link.path, source))


def file_from_root(site: Site, link: Link, source: str) -> Resolution | None:
    """A path that begins with a slash, from the repository's root."""
    return site_file(site, posixpath.normpath(link.path).lstrip("/")) if link.path.startswith("/") else None


def file_from_content(site: Site, link: Link, source: str) -> Resolution | None:
    """A path that begins with a slash, from the site's content root."""
    if not link.path.startswith("/"):
        return None
    return site_file(site, posixpath.normpath(posixpath.join(site.content, link.path.lstrip("/"))))


def site_file(site: Site, place: str) -> Resolution | None:
    """The file at this path of the repository, or a folder that is there; None when nothing is."""
    place = "" if place == "." else place
    if place in site.repository.files:
        return found(place) if site.repository.is_document(place) else found()
    return found() if place in site.repository.folders else None


def page_at_address(site: Site, link: Link, source: str) -> Resolution | None:
    """The address that a browser makes of the path, among the pages and static files of the site."""
    return at_address(site, site.address_of(link.path, source))


def at_address(site: Site, address: str, hops: int = 0) -> Resolution | None:
    """What the site serves at an address: a page, a file, a redirect's end. None when nothing is there."""
    pages = site.pages_by_address.get(address)
    if pages:
        return found(*pages)
    target = site.rules.redirects.get(address)
    if target is not None:
        path = target.partition("#")[0]
        # A chain of redirects ends somewhere; where it goes out of the site nobody follows.
        if hops > 5 or not path.startswith("/"):
            return found()
        return at_address(site, site.normalised_address(path), hops + 1) or found()
    if address in site.rules.other_pages:
        return found()
    path = address.strip("/")
    for folder in site.rules.static:
        if posixpath.join(folder, path) in site.repository.files:
            return found()
    copies = site.rules.not_copied is not None and not path.lower().endswith(site.rules.not_copied or ("\0",))
    return found() if copies and posixpath.join(site.content, path) in site.repository.files else None
