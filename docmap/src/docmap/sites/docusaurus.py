"""Docusaurus: a folder with docusaurus.config.*."""

from __future__ import annotations

import posixpath
import re
from collections.abc import Iterator, Sequence
from dataclasses import dataclass
from functools import partial
from typing import Any

from pathspec import GitIgnoreSpec

from docmap.facts import DOLLARS, HREF, IMAGE, MDX_COMMENT, SRC, Facts, Link
from docmap.repository import Repository
from docmap.sites import literals, slugs
from docmap.sites.components import component_effects
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
    site_file,
)

KIND = "docusaurus"

_CONFIG = "docusaurus.config", r"\.[cm]?[jt]s"
# Components of its theme that make no anchors.
_KNOWN = literals.words(
    """
    Tabs TabItem Admonition CodeBlock Details TOCInline Link Head BrowserOnly Translate Redirect
    Highlight ThemedImage DocCardList DocCard BrowserWindow
    """
)
# Plugins that make no pages, as parts of their names.
_HARMLESS = re.compile(
    r"analytics|gtag|tag-manager|sitemap|search|sass|svgr|pwa|ideal-image|debug|css|theme|mermaid|umami|llms"
    r"|live-codeblock|image-zoom|redoc-?$|tailwind|webpack|client-modules|vercel|plausible|posthog|hotjar"
)
# A post by its date, in its name or in folders: "2024-05-01-title", "2024/05/01/title/index".
_DATED = re.compile(r"^(\d{4}[-/]\d{1,2}[-/]\d{1,2})[-/]?(.*?)(?:/index)?$")
# "01-install" is numbered; "2024-05-01" and "7.0" are names.
_DATE_OR_VERSION = re.compile(r"(?:\d{2}|\d{4})[-_.]\d{2}(?:[-_.](?:\d{2}|\d{4}))?|\d+[-_.]\d+")
_NUMBER_PREFIX = re.compile(r"\d+\s*[-_.]+\s*(?=.)")
_PARTIAL = re.compile(r"(?:^|/)_")
# What the plugins for content do not take, next to names that begin with "_".
_TESTS = re.compile(r"\.test\.|(?:^|/)__tests__/")


@dataclass(frozen=True)
class _Part:
    """A folder of content: what its pages are ("docs", "blog", "pages"), the instance of the plugin that makes them,
    and the address above them."""

    kind: str
    instance: str
    folder: str
    address: str
    include: GitIgnoreSpec | None = None
    exclude: GitIgnoreSpec | None = None
    numbers: bool = True

    def takes(self, path: str) -> bool:
        place = Site.within(path, self.folder)
        if place is None or _PARTIAL.search(place) or _TESTS.search(place):
            return False
        return (self.include is None or self.include.match_file(place)) and not (
            self.exclude is not None and self.exclude.match_file(place)
        )

    def shares_plugin(self, other: _Part | None) -> bool:
        return other is not None and (self.kind, self.instance) == (other.kind, other.instance)


def _part_of(parts: Sequence[_Part], path: str) -> _Part | None:
    """The innermost folder of content around a file."""
    around = [part for part in parts if Site.within(path, part.folder) is not None]
    return max(around, key=lambda part: len(part.folder), default=None)


def _addresses(parts: Sequence[_Part], slash: bool, site: Site, page: str, facts: Facts) -> Sequence[str]:
    """The addresses of a page; `slash`: whether relative links start from the one with a slash at its end."""
    part = _part_of(parts, page)
    if part is None or not part.takes(page):
        return ()
    stem = posixpath.splitext(Site.within(page, part.folder) or page)[0]
    route = {"docs": _doc_route, "blog": _post_route, "pages": _page_route}[part.kind](
        part, stem, facts.fields_with("id", "slug")
    )
    whole = re.sub("/{2,}", "/", posixpath.join("/", part.address, "") + route.lstrip("/"))
    with_slash, without = whole.rstrip("/") + "/", whole.rstrip("/") or "/"
    return list(dict.fromkeys([with_slash if slash else whole, without, with_slash]))


def _without_number(name: str) -> str:
    return name if _DATE_OR_VERSION.match(name) else _NUMBER_PREFIX.sub("", name, count=1)


def _doc_route(part: _Part, stem: str, fields: dict[str, Any]) -> str:
    """The address below that of the part; `stem`: the path in it without suffix, `fields`: the front matter."""
    folder, name = posixpath.split(stem)
    if part.numbers:
        folder, name = "/".join(map(_without_number, folder.split("/"))), _without_number(name)
    slug = fields.get("slug")
    if isinstance(slug, str):
        return slug if slug.startswith("/") else posixpath.normpath(posixpath.join("/", folder, slug))
    own = fields.get("id")
    if isinstance(own, str):
        return posixpath.join("/", folder, own)
    if name.lower() in {"index", "readme", posixpath.basename(folder).lower()}:
        return posixpath.join("/", folder, "")
    return posixpath.join("/", folder, name)


def _post_route(part: _Part, stem: str, fields: dict[str, Any]) -> str:
    """The same of a post, which is called by its date."""
    slug = fields.get("slug")
    if isinstance(slug, str):
        return slug
    dated = _DATED.match(stem)
    if dated is not None:
        return f"/{dated[1].replace('-', '/')}/{dated[2]}"
    return "/" + re.sub(r"/index$", "", stem)


def _page_route(part: _Part, stem: str, fields: dict[str, Any]) -> str:
    """The same of any other page, which is called as it lies."""
    return "/" + re.sub(r"(?:^|/)index$", "", stem)


def _file(
    parts: Sequence[_Part], root: str, hook: str | None, site: Site, link: Link, source: str
) -> Resolution | None:
    """A path to a Markdown file becomes the address of its page."""
    if not re.search(r"\.mdx?$", link.path):
        return None
    part = _part_of(parts, source)
    path = link.path.removeprefix("@site/")
    places = [posixpath.join(root, path.lstrip("/"))]
    if not link.path.startswith("@site/"):
        if part is not None:
            places.insert(0, posixpath.join(part.folder, path.lstrip("/")))
        if not path.startswith("/"):
            places.insert(0, site.place(path, source))
        # A translation stands in for its original, in the folder of which others may be missing.
        places += [
            posixpath.join(other.folder, path.lstrip("/"))
            for other in parts
            if part and part.shares_plugin(other)
        ]
    for place in map(posixpath.normpath, places):
        if not site.addresses.get(place):
            continue
        if part is None or part.shares_plugin(_part_of(parts, place)):
            return found(place)
        if hook is not None:
            return doubtful(hook)
        why = f"{place} belongs to another plugin, so only its address {site.addresses[place][0]} leads there"
        return nothing_because(site, link, source, why)
    for place in map(posixpath.normpath, places):
        if place in site.repository.files:
            return nothing_because(site, link, source, f"{place} is no page of the site")
    return None


def _asset(root: str, site: Site, link: Link, source: str) -> Resolution | None:
    """A file that is no page, beside the source, or from the site's root as @site/."""
    if link.path.startswith("@site/"):
        return site_file(site, posixpath.normpath(posixpath.join(root, link.path[len("@site/") :])))
    if link.path.startswith("@"):
        return doubtful("a module of the theme or of a plugin?")
    if posixpath.splitext(link.path)[1] and not link.path.endswith((".html", ".md", ".mdx")):
        return file_beside(site, link, source)
    return None


def _as_written(site: Site, link: Link, source: str) -> Resolution | None:
    """pathname:///x is left to the browser, so that /x may be anything on the host."""
    return found() if link.path.startswith("pathname:") else None


RULES = Rules(
    kind=KIND,
    ways={},
    page_suffixes=(".md", ".mdx"),
    url_style="bare",
    not_copied=None,
    made={r"/404(?:\.html)?|/search/?|/sitemap\.xml|/assets/.*|/.*(?:rss|atom)\.xml|/.*feed\.json": None},
    partials_keep_paths=True,
    slug=slugs.github,
    # {#id} and {/* #id */}; in the first, blanks belong to the id.
    custom_id=r"(?<!\s)\s*\{(?:/\*\s*)?#((?:(?!\{#|\}|\*/)\S|[^\S\n]+(?!\s|\*/))+)(?:\s*\*/)?\}$",
    always=r"|top|:~:.*|__docusaurus.*|user-content-fn.*|fn(?:ref)?-.*",
    bodies_by_suffix={".mdx": ("jsx",), ".md": ("jsx",)},
    literal=frozenset({"comment", MDX_COMMENT}),
)


def find(repository: Repository) -> Iterator[str]:
    """The folders of all configurations."""
    yield from configured(repository, *_CONFIG)


def make(repository: Repository, root: str) -> Site | None:
    """The site in a folder. Its content may lie beside that folder, so its own root is around both."""
    path = configured(repository, *_CONFIG).get(root, "")
    config = Script(path, repository.text).exported
    parts: list[_Part] = []
    redirects: dict[str, str] = {}
    whys: list[str] = []
    for name, options in _plugins(config):
        if name in {"docs", "blog", "pages"} and options is not False:
            parts += _parts(repository, root, name, options if isinstance(options, dict) else {})
        elif name == "client-redirects":
            for pair in literals.entries(options, "redirects"):
                for old in literals.texts(literals.get(pair, "from")):
                    redirects[old] = literals.text(pair, "to")
            if literals.get(options, "createRedirects") is not None:
                whys.append(f"made by createRedirects of {path}?")
        elif name and not _HARMLESS.search(name):
            whys.append(f"made by the plugin `{name}` of {path}?")
    static = literals.get(config, "staticDirectories")
    folders = literals.texts(static) if isinstance(static, list) else ["static"]
    every = tuple(part for part in parts if part.folder in repository.folders)
    hooks = literals.get(config, "markdown", "hooks")
    hook = None if hooks is None else f"made by the hooks for Markdown of {path}?"
    links = (
        itself,
        _as_written,
        partial(_file, every, root, hook),
        partial(_asset, root),
        page_at_address,
        as_host_serves,
    )
    images = (_as_written, partial(_asset, root), page_at_address, must_exist)
    made = {**RULES.made, **_lists(repository, every)}
    rules = RULES.changed(
        # Docusaurus puts its base before what Markdown links, but not before attributes of HTML.
        ways={"link": links, HREF: (*links, outside_base), IMAGE: images, SRC: (*images[:-1], outside_base)},
        takes=lambda site, page: (
            (part := _part_of(every, page)) is not None
            and (part.takes(page) or _PARTIAL.search(page[len(part.folder) :]) is not None)
        ),
        addresses=partial(_addresses, every, literals.get(config, "trailingSlash") is True),
        base=literals.text(config, "baseUrl", otherwise="/"),
        static=tuple(posixpath.normpath(posixpath.join(root, folder)) for folder in folders),
        redirects={**redirects, **{old.rstrip("/") + "/": new for old, new in redirects.items()}},
        made=made,
        other_pages=frozenset([*_own_pages(repository, every), *_indexes(repository, root, every)]),
        any_target=whys[0] if whys else None,
        effects=component_effects(_KNOWN, {"@site/": root}),
    )
    if literals.get(config, "markdown", "format") is not None:
        # By suffix, or all as CommonMark.
        rules = rules.changed(bodies_by_suffix={".mdx": ("jsx",)})
    if re.search(r"\bremark-math\b", repository.text(path) or ""):
        rules = rules.changed(literal=rules.literal | DOLLARS)
    content = posixpath.commonpath(
        [f"/{folder}" for folder in (root, *(part.folder for part in every))]
    ).strip("/")
    return Site(as_hosted(rules, repository, root), repository, root, content, path)


def _plugins(config: object) -> Iterator[tuple[str, Any]]:
    """The plugins that a site has, by the last part of their names, with their options."""
    presets = literals.get(config, "presets")
    for preset in literals.entries(presets):
        options = literals.get(preset, 1) if isinstance(preset, list) else None
        for name in ("docs", "blog", "pages"):
            value = literals.get(options, name)
            yield name, value if value is not None else {}
    if presets is literals.UNREAD:
        for name in ("docs", "blog", "pages"):
            yield name, {}
    for plugin in literals.entries(config, "plugins"):
        name = plugin[0] if isinstance(plugin, list) and plugin else plugin
        options = plugin[1] if isinstance(plugin, list) and len(plugin) > 1 else {}
        if isinstance(name, str):
            yield re.sub(r"^.*plugin-(?:content-)?", "", name.rpartition("/")[2]), options
        elif name is literals.UNREAD:
            yield "", options


# Each pair of braces may double their number; a configuration with so many is not read.
_MOST_PATTERNS = 1000


def _glob_patterns(value: object) -> GitIgnoreSpec | None:
    """Patterns of files; those with braces are written out, since Git's patterns have none."""
    patterns = literals.texts(value)
    while any("{" in pattern for pattern in patterns):
        written = []
        for pattern in patterns:
            match = re.search(r"\{([^{}]*)\}", pattern)
            choices = match[1].split(",") if match is not None else [""]
            written += [
                pattern if match is None else pattern[: match.start()] + choice + pattern[match.end() :]
                for choice in choices
            ]
        if written == patterns:
            break
        if len(written) > _MOST_PATTERNS:
            return None
        patterns = written
    return (
        GitIgnoreSpec.from_lines("/" + pattern.removeprefix("./") for pattern in patterns)
        if patterns
        else None
    )


def _parts(repository: Repository, root: str, kind: str, options: dict[str, Any]) -> Iterator[_Part]:
    """The folders of one plugin's content: the current one, older versions, translations."""
    folder = literals.text(options, "path", otherwise="src/pages" if kind == "pages" else kind)
    folder = posixpath.normpath(posixpath.join(root, folder))
    address = literals.text(options, "routeBasePath", otherwise="" if kind == "pages" else kind).strip("/")
    own = literals.text(options, "id", otherwise="default")
    prefix = f"{own}_" if own != "default" else ""
    include, exclude = _glob_patterns(options.get("include")), _glob_patterns(options.get("exclude"))
    numbers = options.get("numberPrefixParser") is not False

    def part(folder: str, address: str) -> _Part:
        return _Part(kind, own, folder, address, include, exclude, numbers)

    current = address
    if kind == "docs":
        versions = literals.texts(
            literals.json(repository.text(posixpath.join(root, f"{prefix}versions.json")))
        )
        settings = options.get("versions")
        last = literals.text(options, "lastVersion", otherwise=versions[0] if versions else "current")
        for version in [*versions, "current"]:
            name = "next" if version == "current" else version
            below = literals.text(settings, version, "path", otherwise="" if version == last else name)
            at = posixpath.join(address, below).strip("/")
            if version == "current":
                current = at
            else:
                yield part(posixpath.join(root, f"{prefix}versioned_docs/version-{version}"), at)
    yield part(folder, current)
    translated = posixpath.join(root, "i18n")
    plugin = f"docusaurus-plugin-content-{kind}" + (f"-{own}" if prefix else "")
    for path in repository.folders:
        place = Site.within(path, translated)
        steps = place.split("/") if place is not None else []
        if len(steps) == (3 if kind == "docs" else 2) and steps[1] == plugin:
            version = steps[2].removeprefix("version-") if kind == "docs" else ""
            below = "" if version in {"current", ""} else version
            yield part(
                path, posixpath.join(steps[0], current if not below else posixpath.join(address, below))
            )


def _own_pages(repository: Repository, parts: Sequence[_Part]) -> Iterator[str]:
    """Addresses of pages that are no documents: scripts below src/pages."""
    for path in repository.files:
        stem, suffix = posixpath.splitext(path)
        for part in parts if suffix in {".js", ".jsx", ".ts", ".tsx"} else ():
            place = Site.within(stem, part.folder)
            if part.kind == "pages" and place is not None and part.takes(path):
                address = posixpath.join("/", part.address, re.sub(r"(?:^|/)index$", "", place)).rstrip("/")
                yield from (address or "/", address + "/")


def _indexes(repository: Repository, root: str, parts: Sequence[_Part]) -> Iterator[str]:
    """Addresses of the indexes of categories, where a slug is given: in _category_ files and in sidebars."""
    docs = [part for part in parts if part.kind == "docs"]
    for path in repository.files:
        name = posixpath.basename(path)
        part = _part_of(docs, path) if name.startswith("_category_.") else None
        of_sidebar = (
            re.fullmatch(r"sidebars?[\w.-]*\.(?:[cm]?[jt]s|json)", name)
            and Site.within(path, root) is not None
        )
        if part is None and not of_sidebar:
            continue
        for slug in re.findall(r"""["']?\bslug["']?:\s*["']?([^"',\s]+)""", repository.text(path) or ""):
            for each in [part] if part is not None else docs:
                address = posixpath.join("/", each.address, slug.strip("/"))
                yield from (address, address + "/")


def _lists(repository: Repository, parts: Sequence[_Part]) -> dict[str, str | None]:
    """Lists that plugins make: of posts, of tags, and of the pages of a category."""
    made: dict[str, str | None] = {}
    for part in parts:
        at = re.escape(posixpath.join("/", part.address).rstrip("/"))
        if part.kind == "blog":
            made[rf"{at}/?|{at}/(?:archive|authors|tags|page/\d+)(?:/.*)?"] = None
        if part.kind == "docs":
            made[rf"{at}/tags(?:/.*)?"] = None
            made[rf"{at}/category/.*"] = "the index of a category?"
    return made
