"""Astro Starlight: a folder with astro.config.* that names @astrojs/starlight."""

from __future__ import annotations

import posixpath
import re
from collections.abc import Iterator, Sequence
from functools import partial
from typing import Any

from docmap.facts import DOLLARS, HREF, IMAGE, MDX_COMMENT, SRC, Facts, Link
from docmap.repository import Repository
from docmap.sites import literals, slugs
from docmap.sites.components import anchor_parts, component_effects
from docmap.sites.fields import Fields
from docmap.sites.resolution import Resolution, doubtful, found
from docmap.sites.rules import Rules
from docmap.sites.scripts import Script
from docmap.sites.site import Site
from docmap.sites.ways import (
    as_host_serves,
    as_hosted,
    configured,
    file_beside,
    itself,
    must_exist,
    nothing_because,
    outside_base,
    page_at_address,
)

KIND = "starlight"

_CONFIG = "astro.config", r"\.[cm]?[jt]s"
# Components of its own that make no anchors.
_KNOWN = literals.words(
    """
    Aside Badge Card CardGrid Code FileTree Icon LinkButton LinkCard Steps Tabs TabItem Fragment Image
    Picture PackageManagers YouTube Tweet Vimeo Kbd
    """
)
# Packages of plugins and integrations that bring no pages: by the end of their names.
_HARMLESS = re.compile(
    r"(?:^|[/-])(?:starlight|sitemap|mdx|markdoc|react|vue|svelte|solid-js|preact|alpinejs|tailwind|vite|netlify"
    r"|vercel|cloudflare|node|partytown|db|links-validator|expressive-code|icon|compress|robots-txt|heading-badges"
    r"|image-zoom|sidebar-topics|llms-txt|theme-[\w-]+|kbd|scroll-to-top|videos|package-managers|view-modes"
    r"|site-graph|code-snippets|auto-sidebar|showcases|config|types|zod|fs|path|url)$"
)
# Fields of front matter that the theme shows.
_FIELDS: Fields = {
    ("prev", "link"): HREF,
    ("next", "link"): HREF,
    ("hero", "actions", "*", "link"): HREF,
    ("hero", "image", "file"): IMAGE,
    ("hero", "image", "light"): IMAGE,
    ("hero", "image", "dark"): IMAGE,
}
# Packages that are plugins or integrations, by how their names begin.
_IMPORTED_PACKAGE = re.compile(r"^(?:@astrojs/|astro-|@[\w-]+/(?:astro|starlight)-|starlight-)")


def _addresses(locales: dict[str, str], default: str, site: Site, page: str, facts: Facts) -> Sequence[str]:
    """A page answers at the slug of its path, or its own, and in each language that lacks a translation."""
    place = posixpath.splitext(site.within(page, site.content) or page)[0]
    if any(part.startswith("_") for part in place.split("/")):
        return ()
    slug = facts.fields_with("slug").get("slug")
    names = [slugs.github(part) for part in place.split("/")]
    route = (
        slug.strip("/") if isinstance(slug, str) else "/".join(names[:-1] if names[-1] == "index" else names)
    )
    addresses = _both(route)
    language, _, rest = route.partition("/")
    if default == "" and language not in locales:
        untranslated = route
    elif default and language == default:
        untranslated = rest
    else:
        return addresses
    for other in locales.values():
        if other != default:
            addresses += _both(posixpath.join(other, untranslated) if other else untranslated)
    return addresses


def _both(route: str) -> list[str]:
    """The address of a route with a slash at its end, which comes first, and without."""
    return [posixpath.join("/", route, ""), f"/{route}"] if route.strip("/") else ["/"]


def _markdown_file(site: Site, link: Link, source: str) -> Resolution | None:
    """Links are left as they are written, so that one to a file leads to no page."""
    place = site.place(link.path, source)
    if link.path.endswith((".md", ".mdx")) and place in site.repository.files:
        address = next(iter(site.addresses.get(place, ())), None)
        why = "Starlight leaves links to files as they are" + (f"; the page is {address}" if address else "")
        return nothing_because(site, link, source, why)
    return None


def _alias(aliases: dict[str, str], site: Site, link: Link, source: str) -> Resolution | None:
    """Beginnings of paths that tsconfig.json sets."""
    for alias, folder in aliases.items():
        if link.path.startswith(alias):
            place = posixpath.normpath(posixpath.join(folder, link.path[len(alias) :]))
            return found() if place in site.repository.files else None
    return doubtful("an alias of tsconfig.json?") if link.path[:1] in {"@", "~", "#"} else None


_LINKS = (itself, page_at_address, _markdown_file, as_host_serves, outside_base)

RULES = Rules(
    kind=KIND,
    ways={"link": _LINKS, HREF: _LINKS, SRC: (page_at_address, outside_base)},
    page_suffixes=(".md", ".mdx", ".mdoc"),
    url_style="slash",
    not_copied=None,
    made={
        r"/404(?:\.html)?/?|/sitemap-[\w-]+\.xml|/sitemap\.xml|/pagefind/.*|/_astro/.*|/llms[\w-]*\.txt": None
    },
    partials_keep_paths=True,
    fields=lambda facts: _FIELDS,
    slug=slugs.github,
    always=r"|top|:~:.*|_top|starlight__.*|user-content-fn.*",
    bodies_by_suffix={".mdx": ("jsx",)},
    literal=frozenset({"comment", MDX_COMMENT}),
)


def find(repository: Repository) -> Iterator[str]:
    """The folders of all configurations of Astro that name Starlight."""
    for root, path in configured(repository, *_CONFIG).items():
        if "@astrojs/starlight" in (repository.text(path) or ""):
            yield root


def make(repository: Repository, root: str) -> Site | None:
    """The site in a folder."""
    path = configured(repository, *_CONFIG).get(root, "")
    script = Script(path, repository.text)
    config, starlight = script.exported, script.arguments("starlight")
    source = posixpath.normpath(posixpath.join(root, literals.text(config, "srcDir", otherwise="src")))
    content = posixpath.join(source, "content/docs")
    languages = literals.get(starlight, "locales")
    names = [name for name in literals.table(languages) if name != "..."]
    locales = {name: "" if name == "root" else name for name in names}
    default = (
        ""
        if "root" in locales or not locales
        else literals.text(starlight, "defaultLocale", otherwise=names[0])
    )
    aliases = {"~/": source, "@/": source, **_aliases(repository, root)}
    ways = {
        **RULES.ways,
        IMAGE: (file_beside, partial(_alias, aliases), page_at_address, outside_base, must_exist),
    }
    rules = RULES.changed(
        ways=ways,
        addresses=partial(_addresses, locales, default),
        base=posixpath.join("/", literals.text(config, "base")),
        static=(
            posixpath.normpath(posixpath.join(root, literals.text(config, "publicDir", otherwise="public"))),
        ),
        effects=component_effects(_KNOWN, aliases),
    )
    redirects = literals.get(config, "redirects")
    pages = _own_pages(repository, posixpath.join(source, "pages"))
    rules = rules.changed(
        other_pages=frozenset(form for route, _ in pages for form in _both(route.strip("/")))
    )
    made = {**rules.made, **{_pattern(route): f"made of {path}?" for route, path in pages if "[" in route}}
    for old, new in literals.table(redirects).items():
        new = literals.get(new, "destination") if isinstance(new, dict) else new
        if "[" in old or not isinstance(new, str):
            made[_pattern(old)] = f"made by the redirects of {path}?"
        else:
            rules = rules.changed(
                redirects={**rules.redirects, old.rstrip("/") + "/": new, old.rstrip("/"): new}
            )
    unknown = (
        languages is literals.UNREAD
        or redirects is literals.UNREAD
        or literals.get(redirects, "...") is not None
    )
    why = f"made by what {path} works out?" if unknown else None
    for module in script.imports.values():
        if _IMPORTED_PACKAGE.match(module) and not _HARMLESS.search(module):
            why = f"made by the plugin `{module}` of {path}?"
    if re.search(r"\bremark-math\b", script.text):
        rules = rules.changed(literal=rules.literal | DOLLARS)
    parts = anchor_parts(re.findall(r"\b(?:remark|rehype)[\w-]*", script.text))
    # Astro makes anchors in the same way; links at headings add none.
    anchors = [
        part
        for part in parts
        if not part.lower().startswith(("rehypeslug", "rehypeautolink", "rehypeheadingids"))
    ]
    if anchors:
        rules = rules.changed(any_anchor=f"made by `{anchors[0]}` of {path}?")
    return Site(
        as_hosted(rules.changed(made=made, any_target=why), repository, root), repository, root, content, path
    )


def _aliases(repository: Repository, root: str) -> dict[str, str]:
    """The beginnings of paths that tsconfig.json sets, with their folders."""
    # JSON with comments and commas at the end is YAML but for lines of comment and tabs.
    text = re.sub(
        r"^\s*//.*$", "", repository.text(posixpath.join(root, "tsconfig.json")) or "", flags=re.MULTILINE
    )
    options: Any = literals.get(literals.yaml(text.replace("\t", " ")), "compilerOptions")
    folder = posixpath.join(root, literals.text(options, "baseUrl"))
    return {
        alias[:-1]: posixpath.normpath(posixpath.join(folder, literals.texts(targets)[0].rstrip("*")))
        for alias, targets in literals.table(options, "paths").items()
        if alias.endswith("/*") and literals.texts(targets)
    }


def _pattern(route: str) -> str:
    """The addresses of a route with parameters, such as /blog/[slug] and /[...path]."""
    rest = re.sub(r"\\\[\\\.\\\.\\\..*?\\\]", ".*", re.escape(route.rstrip("/")))
    return re.sub(r"\\\[.*?\\\]", "[^/]+", rest) + "/?"


def _own_pages(repository: Repository, folder: str) -> list[tuple[str, str]]:
    """Pages that are no documents, those of src/pages: their routes and paths."""
    pages = []
    for path in repository.files:
        place = Site.within(path, folder)
        if place is not None and not any(part.startswith("_") for part in place.split("/")):
            route, suffix = posixpath.splitext(place)
            pages.append(
                ("/" + (route if suffix in {".ts", ".js"} else re.sub(r"(?:^|/)index$", "", route)), path)
            )
    return pages
