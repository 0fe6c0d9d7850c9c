"""VitePress: a folder with .vitepress/config.*."""

from __future__ import annotations

import posixpath
import re
from collections.abc import Iterator, Sequence
from contextlib import suppress
from functools import partial

from pathspec import GitIgnoreSpec

from docmap.facts import DOLLARS, HREF, IMAGE, INCLUDE, NAV, SRC, Construct, Facts, Link
from docmap.repository import Repository
from docmap.sites import literals, slugs
from docmap.sites.components import anchor_parts, component_effects
from docmap.sites.fields import Fields
from docmap.sites.resolution import Resolution, doubtful, made_perhaps
from docmap.sites.rules import ID_IN_BRACES, Effect, Rules
from docmap.sites.scripts import Script
from docmap.sites.site import Site
from docmap.sites.ways import (
    as_hosted,
    at_address,
    by_web_server,
    configured,
    file_beside,
    file_from_content,
    itself,
    must_exist,
    outside_base,
    page_at_address,
)

KIND = "vitepress"

_CONFIG = ".vitepress/config", r"(?:/index)?\.(?:[cm]?[jt]s|json)"
_KNOWN = literals.words(
    """
    Badge Content ClientOnly Transition TransitionGroup KeepAlive Suspense Teleport VPButton
    VPTeamMembers VPTeamPage VPTeamPageTitle VPTeamPageSection VPHomeHero VPHomeFeatures VPImage VPBadge
    PluginTabs PluginTabsTab Icon
    """
)
_PARAMETER = re.compile(r":(\w+)(\*?)")
# Fields that the default theme shows on every page, and those of a home page.
_AROUND: Fields = {("prev", "link"): NAV, ("next", "link"): NAV}
_HOME: Fields = {
    **_AROUND,
    ("hero", "image"): SRC,
    ("hero", "image", "src"): SRC,
    ("hero", "actions", "*", "link"): NAV,
    ("features", "*", "link"): NAV,
}
_THEME = re.compile(r"\.vitepress/theme/index\.[cm]?[jt]sx?")
_USED = re.compile(r"\.use\(\s*([\w$.]+)")


def _addresses(
    left_out: GitIgnoreSpec,
    rewrites: Sequence[tuple[re.Pattern[str], str]],
    clean: bool,
    site: Site,
    page: str,
    facts: Facts,
) -> Sequence[str]:
    """A page answers with and without its suffix, and as Markdown links name it."""
    place = site.within(page, site.content) or page
    if left_out.match_file(place):
        return ()
    place = next((_filled(new, match) for old, new in rewrites if (match := old.fullmatch(place))), place)
    stem = posixpath.splitext(place)[0]
    folder, name = posixpath.split(stem)
    if name == "index":
        return [posixpath.join("/", folder, ""), f"/{stem}", f"/{stem}.html", f"/{place}"]
    names = (f"/{stem}", f"/{stem}.html") if clean else (f"/{stem}.html", f"/{stem}")
    return [*names, f"/{place}"]


def _by_router(site: Site, link: Link, source: str) -> Resolution | None:
    """In the browser, the router finds /page under /page/, too; the build calls such a link dead."""
    address = site.address_of(link.path, source)
    if address.endswith("/") and at_address(site, address[:-1]) is not None:
        return doubtful(f'does the router find {address[:-1]} under "{address}"?')
    return None


def _from_root(site: Site, link: Link, source: str) -> Resolution | None:
    """A path without a dot or slash before it starts from the root, where the theme adds a suffix to it."""
    if link.path.startswith(("/", ".")) or link.path.endswith(("/", ".html")):
        return None
    return at_address(site, site.address_of(f"/{link.path}", source))


def _as_theme_shows(why: str, site: Site, link: Link, source: str) -> Resolution | None:
    return made_perhaps(why)


def _fields(facts: Facts, *, is_own: bool) -> Fields:
    fields = _HOME if facts.fields_with("layout").get("layout") == "home" else _AROUND
    return {path: form for path, form in fields.items() if form == NAV} if is_own else fields


def _alias(site: Site, link: Link, source: str) -> Resolution | None:
    """Images may be named as modules are."""
    return doubtful("an alias of vite.config?") if link.path[:1] in {"@", "~"} else None


def _included(site: Site, construct: Construct, page: str) -> str | None:
    path = re.sub(r"\{[^}]*\}$|#[\w-]+(?:\{[^}]*\})?$", "", construct.arguments.strip(": "))
    return posixpath.join(site.content, path[2:]) if path.startswith("@/") else site.place(path, page)


_LINKS = (itself, page_at_address, by_web_server, _by_router, outside_base)
_IMAGES = (file_beside, page_at_address, file_from_content, _alias, outside_base, must_exist)

RULES = Rules(
    kind=KIND,
    ways={
        "link": _LINKS,
        HREF: _LINKS,
        NAV: (*_LINKS, _from_root),
        IMAGE: _IMAGES,
        SRC: _IMAGES,
    },
    page_suffixes=(".md",),
    # Of the content root, only what is imported is there.
    not_copied=None,
    made={r"/(?:404\.html|assets/.*|hashmap\.json|sitemap\.xml)": None},
    partials_keep_paths=True,
    slug=slugs.mdit,
    # VitePress turns the anchors of links into slugs, too.
    compare=slugs.mdit,
    custom_id=ID_IN_BRACES,
    named=("attribute_ids",),
)


def find(repository: Repository) -> Iterator[str]:
    """The folders that .vitepress lies in."""
    yield from configured(repository, *_CONFIG)


def make(repository: Repository, root: str) -> Site | None:
    """The site in a folder."""
    path = configured(repository, *_CONFIG).get(root, "")
    script = Script(path, repository.text)
    config = script.exported
    content = posixpath.normpath(posixpath.join(root, literals.text(config, "srcDir")))
    content = "" if content == "." else content
    left_out = GitIgnoreSpec.from_lines(
        ["node_modules", ".vitepress", *literals.texts(literals.get(config, "srcExclude"))]
    )
    rewrites = literals.get(config, "rewrites")
    public = literals.text(config, "vite", "publicDir", otherwise="public")
    rules = RULES.changed(
        addresses=partial(
            _addresses, left_out, _rewrites(rewrites), literals.get(config, "cleanUrls") is True
        ),
        base=literals.text(config, "base") or "/",
        static=(posixpath.normpath(posixpath.join(content, public)),),
        effects={
            **component_effects(_KNOWN, {"@/": content}),
            INCLUDE: Effect(includes=_included, anchors="included in line {line}?"),
        },
        made={**RULES.made, **_dynamic_routes(repository, content)},
    )
    if rewrites is literals.UNREAD:
        rules = rules.changed(any_target=f"made by the rewrites of {path}?")
    if literals.get(config, "markdown", "math") or re.search(r"mathjax|katex|texmath", script.text):
        rules = rules.changed(literal=rules.literal | DOLLARS)
    themes = [path for path in repository.files if _THEME.fullmatch(Site.within(path, root) or "")]
    own = [path for path in themes if "vitepress/theme" not in (repository.text(path) or "")]
    rules = rules.changed(fields=partial(_fields, is_own=bool(own)))
    if own:
        # Which fields a theme of one's own shows, and how, is its own matter.
        doubt = partial(_as_theme_shows, f"shown by the theme {own[0]}?")
        rules = rules.changed(ways={**rules.ways, NAV: (*rules.ways[NAV], doubt)})
    slugify = literals.get(config, "markdown", "anchor", "slugify")
    parts = anchor_parts(_USED.findall(script.text))
    if slugify is not None:
        rules = rules.changed(any_anchor=f"made by the slugify function of {path}?")
    elif parts:
        rules = rules.changed(any_anchor=f"made by `{parts[0]}` of {path}?")
    return Site(as_hosted(rules, repository, root), repository, root, content, path)


def _rewrites(rewrites: object) -> list[tuple[re.Pattern[str], str]]:
    """Paths of sources -> paths of pages: "packages/:name/:rest*" -> ":name/:rest*", as pattern and text to fill in.

    One that asks for a name which its source does not give changes no path.
    """
    found = []
    for old, new in literals.table(rewrites).items():
        if isinstance(new, str):
            text = re.sub(r":(\w+)\*", r"(?P<\1>.*)", re.escape(old).replace(r"\*", "*"))
            text = re.sub(r":(\w+)", r"(?P<\1>[^/]+)", text)
            with suppress(re.error):  # a name that stands there twice: no build takes it
                pattern = re.compile(text)
                if {name for name, _ in _PARAMETER.findall(new)} <= pattern.groupindex.keys():
                    found.append((pattern, new))
    return found


def _filled(new: str, match: re.Match[str]) -> str:
    return _PARAMETER.sub(lambda parameter: match[parameter[1]], new)


def _dynamic_routes(repository: Repository, content: str) -> dict[str, str | None]:
    """Addresses of files such as posts/[name].md, which a program fills in."""
    routes: dict[str, str | None] = {}
    for path in repository.documents:
        place = Site.within(path, content)
        if place is not None and "[" in place:
            stem = re.sub(r"\\\[.*?\\\]", "[^/]+", re.escape(posixpath.splitext(place)[0]))
            routes[rf"/{stem}(?:\.html|\.md)?"] = f"made of {path}?"
    return routes
