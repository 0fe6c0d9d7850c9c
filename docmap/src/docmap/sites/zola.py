"""Zola: a folder with config.toml (that has a base_url) and content."""

from __future__ import annotations

import posixpath
import re
from collections.abc import Iterator, Mapping, Sequence
from functools import partial

from docmap.facts import EXPRESSION, HREF, IMAGE, LIQUID, SRC, Construct, Facts, Link
from docmap.repository import Repository
from docmap.sites import literals, slugs
from docmap.sites.components import may_make_anchors
from docmap.sites.resolution import Resolution, found
from docmap.sites.rules import ID_IN_BRACES, Effect, Rules, as_it_is
from docmap.sites.site import Site
from docmap.sites.ways import (
    as_host_serves,
    as_hosted,
    base_of,
    itself,
    nothing_because,
    outside_base,
    page_at_address,
)

KIND = "zola"

_DATED = re.compile(r"^\d{4}-\d\d-\d\d(?:T[^_]*)?[-_](?=.)")
_SLUGS = {"on": slugs.zola, "safe": slugs.zola_safe, "off": as_it_is}
# Shortcodes of its own, and what is no shortcode.
_KNOWN = frozenset({"raw", "endraw", "end"})


def _addresses(
    languages: frozenset[str], default: str, slugify: str, site: Site, page: str, facts: Facts
) -> Sequence[str]:
    """The address of a page or section that is published: by its own path, its slug, or its file; and its aliases."""
    fields = facts.fields
    if fields.get("draft") is True or fields.get("render") is False:
        return ()
    return _once_published(languages, default, slugify, site, page, facts)


def _once_published(
    languages: frozenset[str], default: str, slugify: str, site: Site, page: str, facts: Facts
) -> Sequence[str]:
    fields = facts.fields
    stem = posixpath.splitext(site.within(page, site.content) or page)[0]
    folder, name = posixpath.split(stem)
    base, _, language = name.rpartition(".")
    if base and language in languages:
        name = base
    else:
        language = ""
    slug = _SLUGS.get(slugify, slugs.zola)
    if name == "index":
        folder, name = posixpath.split(folder)
    own = fields.get("path")
    if name == "_index":
        route = "/".join(map(slug, folder.split("/"))) if folder else ""
    elif isinstance(own, str) and own:
        route = own.strip("/")
    else:
        given = fields.get("slug")
        last = slug(given) if isinstance(given, str) and given else slug(_DATED.sub("", name))
        route = posixpath.join(*[slug(part) for part in folder.split("/") if part], last)
    if language and language != default:
        route = posixpath.join(language, route)
    routes = [route, *literals.texts(fields.get("aliases"))]
    return [form for route in routes for form in _forms(route)]


def _forms(route: str) -> list[str]:
    route = route.strip("/")
    if route.endswith(".html"):
        return [f"/{route}"]
    return [f"/{route}/", f"/{route}", f"/{route}/index.html"] if route else ["/", "/index.html"]


def _internal(site: Site, link: Link, source: str) -> Resolution | None:
    """@/blog/post.md is the page of a file below the content folder."""
    if not link.path.startswith("@/"):
        return None
    place = posixpath.normpath(posixpath.join(site.content, link.path[2:]))
    # Drafts are built together or not at all, so that one may lead to another.
    is_there = site.addresses.get(place, True) or not site.addresses.get(source)
    if place in site.repository.files and is_there:
        return found(place) if site.repository.is_document(place) else found()
    if place not in site.repository.files:
        return site.nothing_at(link.path, source)
    return nothing_because(site, link, source, f"{place} is a draft or not rendered")


def _colocated(site: Site, link: Link, source: str) -> Resolution | None:
    """Files beside index.md and _index.md are served at the page's address."""
    if link.path.startswith("/") or not posixpath.basename(source).startswith(("index.", "_index.")):
        return None
    place = site.place(link.path, source)
    return found() if place in site.repository.files and not place.endswith(".md") else None


def _shortcode(site: Site, construct: Construct, page: str) -> str | None:
    name = construct.name.partition("(")[0]
    paths = [path for path in site.files_by_name.get(name, ()) if "templates/shortcodes/" in path]
    texts = [site.repository.text(path) for path in paths]
    if name in _KNOWN or (
        texts and not any(text is None or may_make_anchors(text) or "\n#" in text for text in texts)
    ):
        return None
    return f"made by the shortcode `{name}` in line {construct.line}?"


# Zola leaves links to the host as they are, so that one without the site's base leads out of the site.
_LINKS = (itself, _internal, _colocated, outside_base, page_at_address, as_host_serves)

RULES = Rules(
    kind=KIND,
    ways={"link": _LINKS, HREF: _LINKS, IMAGE: _LINKS, SRC: _LINKS},
    page_suffixes=(".md",),
    url_style="slash",
    not_copied=(".md",),
    made={
        r"/(?:.*/)?(?:atom|rss|feed|sitemap)\.xml|/404\.html|/robots\.txt": None,
        r"/search_index\..*|/elasticlunr.*": None,
        r"/(?:.*/)?page/\d+/?": None,
        r"/[\w-]+\.css": "made of sass/?",
    },
    custom_id=ID_IN_BRACES,
    always=r"|top|:~:.*|continue-reading|fn-.*|fr-.*|\d+",
    effects={EXPRESSION: Effect(unknown=_shortcode), LIQUID: Effect(unknown=_shortcode)},
)


def find(repository: Repository) -> Iterator[str]:
    """The folders with a configuration of Zola's and a folder of content."""
    for path in repository.files:
        folder, _, name = path.rpartition("/")
        if name not in {"config.toml", "zola.toml"}:
            continue
        has_content = posixpath.join(folder, "content") in repository.folders
        if has_content and "base_url" in literals.toml(repository.text(path)):
            yield folder


def make(repository: Repository, root: str) -> Site | None:
    """The site in a folder."""
    paths = [posixpath.join(root, name) for name in ("config.toml", "zola.toml")]
    path = next((path for path in paths if path in repository.files), paths[0])
    config = literals.toml(repository.text(path))
    slugify = literals.get(config, "slugify")
    anchors = literals.text(slugify, "anchors", otherwise="on")
    languages = literals.table(config, "languages")
    static = ["static", posixpath.join("themes", literals.text(config, "theme", otherwise="-"), "static")]
    taxonomies = [literals.get(taxonomy, "name") for taxonomy in literals.entries(config, "taxonomies")]
    settings = (
        frozenset(languages),
        literals.text(config, "default_language", otherwise="en"),
        literals.text(slugify, "paths", otherwise="on"),
    )
    rules = RULES.changed(
        addresses=partial(_addresses, *settings),
        drafts=partial(_once_published, *settings),
        base=base_of(literals.text(config, "base_url")),
        static=tuple(posixpath.join(root, folder) for folder in static),
        slug=_SLUGS.get(anchors, slugs.zola),
        made={**RULES.made, **_taxonomies(literals.texts(taxonomies))},
        unread_anchors=_transliterated if anchors == "on" else None,
    )
    homes = ("/", *(f"/{name}/" for name in languages))
    rules = rules.changed(other_pages=frozenset(homes))
    return Site(as_hosted(rules, repository, root), repository, root, posixpath.join(root, "content"), path)


def _transliterated(site: Site, page: str, facts: Facts) -> str | None:
    """Zola writes headings of other scripts in Latin letters; which ones, only its tables say."""
    return next(
        (
            f"transliterated from the heading in line {heading.line}?"
            for heading in facts.headings
            if any(char.isalpha() and not slugs.zola(char) for char in heading.text)
        ),
        None,
    )


def _taxonomies(names: Sequence[str]) -> Mapping[str, str | None]:
    return {rf"/(?:\w\w/)?{re.escape(name)}(?:/.*)?": f"a list of the taxonomy {name}?" for name in names}
