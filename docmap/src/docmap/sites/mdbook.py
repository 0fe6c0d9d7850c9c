"""mdBook: a folder with book.toml."""

from __future__ import annotations

import posixpath
import re
from collections.abc import Iterable, Iterator, Sequence
from functools import partial

from docmap.facts import BRACKETED, DISPLAYED, DOLLARS, DOUBLY_BRACKETED, HASH, Construct, Facts, Link
from docmap.repository import Repository
from docmap.sites import literals, slugs
from docmap.sites.resolution import BESIDE, Resolution, doubtful, found, made_perhaps
from docmap.sites.rules import ID_IN_BRACES, Effect, Rules
from docmap.sites.site import Site
from docmap.sites.ways import (
    as_hosted,
    at_address,
    base_of,
    by_web_server,
    file_beside,
    folders_of,
    itself,
    nothing_because,
    outside_base,
    page_at_address,
    redirects_of,
)

KIND = "mdbook"

# Preprocessors that make neither pages nor links nor anchors of headings.
_HARMLESS = literals.words(
    """
    alerts admonish catppuccin emojicodes footnote gettext graphviz hide index katex last-changed links
    mermaid open-on-gh pagetoc pikchr plantuml quiz svgbob tabs toc
    """
)


def _addresses(chapters: frozenset[str], site: Site, page: str, facts: Facts) -> Sequence[str]:
    """Chapters alone are pages, and README.md is the index of its folder."""
    place = site.within(page, site.content)
    if place is None or (page not in chapters and place != "SUMMARY.md"):
        return ()
    folder, name = posixpath.split(place)
    stem = posixpath.splitext(name)[0]
    if stem.lower() not in {"readme", "index"}:
        return (f"/{posixpath.join(folder, stem)}.html",)
    return (f"/{posixpath.join(folder, 'index')}.html", posixpath.join("/", folder, ""))


def _chapter(
    chapters: frozenset[str], creates: bool, site: Site, link: Link, source: str
) -> Resolution | None:
    """The target ends in .md: its page ends in .html, and there is one when SUMMARY.md lists the file."""
    if not link.path.endswith(".md"):
        return None
    if not link.path.startswith("/") and site.within(site.place(link.path, source), site.content) is None:
        if site.place(link.path, source) not in site.repository.files and site.climbs_out(link.path, source):
            # It becomes ../x.html, as any path does, and so may lead to a book beside this one.
            return doubtful(BESIDE)
        return nothing_because(
            site, link, source, f"it leads out of {site.content}/, so the book does not have it"
        )
    stem = re.sub(r"(^|/)README$", r"\1index", link.path[: -len(".md")])
    page = at_address(site, site.address_of(stem + ".html", source))
    if page is not None:
        return page
    place = site.place(
        link.path.lstrip("/"), posixpath.join(site.content, "x") if link.path[0] == "/" else source
    )
    if place in chapters and place in site.repository.files:
        # A chapter that Git ignores.
        return found()
    if place in chapters and creates:
        return made_perhaps(f"an empty chapter that mdBook makes, since SUMMARY.md lists {place}?")
    if place in site.repository.files:
        return nothing_because(
            site, link, source, f"SUMMARY.md does not list {place}, so the book has no page of it"
        )
    return None


def _listed(site: Site, link: Link, source: str) -> Resolution | None:
    """SUMMARY.md names files, whatever their suffix."""
    return file_beside(site, link, source) if posixpath.basename(source) == "SUMMARY.md" else None


def _included(site: Site, construct: Construct, page: str) -> str | None:
    return site.place(construct.arguments.strip().partition(":")[0], page)


def _more_anchors(site: Site, page: str, facts: Facts) -> Iterable[str]:
    """Old anchors that the configuration redirects."""
    for old in site.rules.redirects:
        address, _, anchor = old.partition("#")
        if anchor and address in site.addresses.get(page, ()):
            yield anchor


RULES = Rules(
    kind=KIND,
    ways={},
    not_copied=(".md",),
    made={
        r"/(?:index\.html)?|/(?:print|toc|404)\.html|/searchindex.*|/favicon.*": None,
        r"/(?:css|fonts|FontAwesome)/.*": None,
    },
    slug=slugs.mdbook,
    compare=slugs.without_marks,
    custom_id=ID_IN_BRACES,
    terms=True,
    more_anchors=_more_anchors,
    always=r"|top|:~:.*|(?:footnote|fn|fr)-.*",
    effects={f"{HASH}:include": Effect(includes=_included, anchors="included in line {line}?")},
)


def find(repository: Repository) -> Iterator[str]:
    """The folders of all book.toml, which may be missing where there is src/SUMMARY.md."""
    yield from folders_of(repository, "book.toml")
    for folder in folders_of(repository, "SUMMARY.md"):
        if posixpath.basename(folder) == "src":
            yield posixpath.dirname(folder)


def make(repository: Repository, root: str) -> Site | None:
    """The book in a folder."""
    path = posixpath.join(root, "book.toml")
    book = literals.toml(repository.text(path))
    html = literals.get(book, "output", "html")
    rules = RULES
    if literals.get(html, "mathjax-support") is True:
        rules = rules.changed(literal=rules.literal | {DISPLAYED, DOUBLY_BRACKETED})
    for name in literals.table(book, "preprocessor"):
        if name in {"katex", "mathjax"}:
            rules = rules.changed(literal=rules.literal | DOLLARS | {BRACKETED})
        if name not in _HARMLESS:
            why = f"made by the preprocessor `{name}` of {path}?"
            rules = rules.changed(any_target=why, any_anchor=why, any_label=why)
    content = posixpath.normpath(posixpath.join(root, literals.text(book, "book", "src", otherwise="src")))
    content = "" if content == "." else content
    summary = posixpath.join(content, "SUMMARY.md")
    facts = repository.facts(summary)
    links = facts.links if facts is not None else ()
    chapters = frozenset(Site.place(link.path, summary) for link in links)
    chapter = partial(_chapter, chapters, literals.get(book, "build", "create-missing") is not False)
    rules = rules.changed(
        ways={"link": (itself, _listed, chapter, page_at_address, outside_base, by_web_server)},
        addresses=partial(_addresses, chapters),
        base=base_of(literals.text(html, "site-url")),
        redirects=redirects_of(literals.get(html, "redirect")),
    )
    return Site(as_hosted(rules, repository, root), repository, root, content, path)
