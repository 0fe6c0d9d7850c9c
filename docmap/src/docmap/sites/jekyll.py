"""Jekyll: a folder with _config.yml."""

from __future__ import annotations

import posixpath
import re
from collections.abc import Callable, Iterator, Mapping
from functools import partial
from typing import Any

from docmap.facts import (
    DISPLAYED,
    FRONT_MATTER,
    HREF,
    IMAGE,
    KRAMDOWN_COMMENT,
    LINK,
    LIQUID,
    LIQUID_CODE,
    LIQUID_COMMENT,
    SRC,
    TEMPLATE,
    Construct,
    Link,
)
from docmap.repository import Repository
from docmap.sites import literals, slugs
from docmap.sites.components import may_make_anchors
from docmap.sites.jekyll_addresses import SUFFIXES, Pages
from docmap.sites.resolution import FOUND, Resolution, doubtful, found
from docmap.sites.rules import ID_IN_BRACES, Effect, Rules
from docmap.sites.site import Site
from docmap.sites.ways import (
    as_host_serves,
    as_hosted,
    at_address,
    is_elsewhere,
    itself,
    nothing_because,
    outside_base,
    outside_content,
    page_at_address,
    site_file,
)

KIND = "jekyll"

# Destinations that tags and variables of Liquid make, and what stands after them (an anchor).
_TAG = re.compile(r"\{%-?\s*(link|post_url)\s+(.*?)\s*-?%\}(.*)", re.DOTALL)
_URL = re.compile(
    r"""\{\{-?\s*["']([^"']*)["']\s*\|\s*(?:relative_url|absolute_url|prepend:\s*site\.baseurl)\s*-?\}\}"""
)
_VARIABLE = re.compile(r"\{\{-?\s*(site|page)\.(\w+)\s*-?\}\}")
# Tags that make no anchors; with these, also those that end a block.
_KNOWN = re.compile(
    r"end\w*|raw|comment|highlight|if|elsif|else|unless|case|when|assign|capture|increment|decrement|link|post_url|gist"
    r"|seo|feed_meta|break|continue|liquid|cycle"
)
# Plugins that bring no pages of their own.
_HARMLESS = literals.words(
    """
    jekyll-seo-tag jekyll-sitemap jekyll-feed jekyll-relative-links jekyll-optional-front-matter
    jekyll-readme-index jekyll-titles-from-headings jekyll-default-layout jekyll-github-metadata
    jekyll-mentions jekyll-coffeescript jekyll-gist jekyll-include-cache jekyll-remote-theme
    jekyll-redirect-from jekyll-paginate jemoji jekyll-toc jekyll-sass-converter jekyll-last-modified-at
    jekyll-commonmark-ghpages jekyll-avatar jekyll-spaceship kramdown-parser-gfm webrick jekyll-timeago
    jekyll-tidy jekyll-minifier jekyll-target-blank
    """
)
# Where Jekyll looks for what is no page.
_PARTS = frozenset({"_includes", "_layouts", "_sass", "_data", "_plugins", "_site"})


def _by_file(site: Site, link: Link, source: str) -> Resolution | None:
    """With jekyll-relative-links, a path to a Markdown file becomes the address of its page."""
    place = site.place(link.path, source)
    if link.path.startswith("/"):
        place = posixpath.normpath(posixpath.join(site.content, link.path.lstrip("/")))
    if link.path.lower().endswith(SUFFIXES) and site.addresses.get(place):
        return found(place)
    return None


def _left_as_it_is(site: Site, link: Link, source: str) -> Resolution | None:
    """A Markdown file that becomes a page is not there under its own name."""
    place = site.place(link.path, source)
    if site.addresses.get(place):
        why = f"the page of {place} is {site.addresses[place][0]}"
        return nothing_because(site, link, source, why)
    return None


def _served_file(site: Site, link: Link, source: str) -> Resolution | None:
    """Pages that are no Markdown, folders with index.html, and style sheets."""
    path = site.address_of(link.path, source).strip("/")
    place = posixpath.normpath(posixpath.join(site.content, path)) if path else site.content
    if set(path.split("/")) & _PARTS:
        return None
    if re.sub(r"\.css$", ".scss", place) in site.repository.files:
        return found()
    return found() if f"/{path}" in site.once(_other_pages) else None


def _other_pages(site: Site) -> frozenset[str]:
    """The addresses of pages that are no Markdown, without a slash at the end."""
    addresses = set()
    for path in site.repository.files:
        place = site.within(path, site.content)
        if (
            place is None
            or set(place.split("/")) & _PARTS
            or not place.endswith((".html", ".xml", ".json", ".txt"))
        ):
            continue
        front = re.match(r"---\n(.*?)\n?---", site.repository.text(path) or "", re.DOTALL)
        permalink = literals.yaml(front[1]).get("permalink") if front is not None else None
        by_path = re.sub(r"(?:(?:^|(?<=/))index)?\.html$", "", place)
        addresses.add(permalink if isinstance(permalink, str) else by_path)
    return frozenset("/" + address.strip("/") for address in addresses)


def _template(config: Mapping[str, Any], site: Site, link: Link, source: str) -> Resolution | None:
    """{% link path %}, {% post_url name %}, {{ "/path" | relative_url }} and {{ site.baseurl }}/path."""
    tag = _TAG.search(link.path)
    if tag is not None:
        name = tag[2].strip("\"'").lstrip("/")
        anchor = tag[3].partition("#")[2] or None
        if "{{" in name:
            return doubtful("filled in by a template")
        if tag[1] == "post_url":
            pages = [
                page for page in site.pages if re.search(rf"(?:^|/)(?:_posts/)?{re.escape(name)}\.\w+$", page)
            ]
            return (
                Resolution(FOUND, tuple(pages), anchor=anchor)
                if pages
                else nothing_because(site, link._replace(path=f"/_posts/{name}"), source, f"no post {name}")
            )
        place = posixpath.normpath(posixpath.join(site.content, name))
        resolution = site_file(site, place) if place in site.repository.files else None
        if resolution is None:
            return site.nothing_at(f"/{name}", source)
        return resolution._replace(anchor=anchor)
    target = _URL.sub(lambda match: "/" + match[1].lstrip("/"), link.path)
    target = _VARIABLE.sub(lambda match: _value(config, site, source, match), target)
    path, _, anchor = target.partition("#")
    if is_elsewhere(path):
        return found()
    if "{{" in path or "{%" in path or (path and not path.startswith("/")):
        return doubtful("filled in by a template")
    plain = link._replace(path=path or "/", form=LINK)
    resolution = at_address(site, site.normalised_address(path)) or _served_file(site, plain, source)
    if resolution is None:
        resolution = nothing_because(site, plain, source, f"no page or file at {path}")
    return resolution._replace(anchor=anchor or None)


def _value(config: Mapping[str, Any], site: Site, source: str, match: re.Match[str]) -> str:
    """What a variable stands for; itself, where neither the configuration nor the front matter says it."""
    if match[2] in {"baseurl", "url"}:
        # Addresses are without these here.
        return ""
    facts = site.facts(source)
    fields = config if match[1] == "site" else facts.fields if facts is not None else {}
    value = fields.get(match[2])
    return value if isinstance(value, str) else match[0]


def _slug_with_prefix(slug: Callable[[str], str], prefix: str, text: str) -> str:
    return prefix + slug(text)


def _file_named(construct: Construct) -> str:
    """The first argument of an include, which names a file."""
    return construct.arguments.strip().split(" ")[0].strip("\"'")


def _included(site: Site, construct: Construct, page: str) -> str | None:
    """The file that include_relative names; None where a variable does."""
    path = _file_named(construct)
    return None if "{{" in path else site.place(path, page)


def _include(site: Site, construct: Construct, page: str) -> str | None:
    """An include that is Markdown; `_tag` says what others may make."""
    path = posixpath.join(site.root, "_includes", _file_named(construct))
    return path if path.endswith(SUFFIXES) and path in site.repository.files else page


def _tag(site: Site, construct: Construct, page: str) -> str | None:
    """A tag or include may make anchors when its source is not here, or has some."""
    if _KNOWN.fullmatch(construct.name):
        return None
    if construct.name in {"include", "include_cached"}:
        path = posixpath.join(site.root, "_includes", _file_named(construct))
        text = site.repository.text(path)
        if path.endswith(SUFFIXES) and text is not None:
            return None
        if text and not may_make_anchors(text) and not re.search(r"^#|\{%-?\s*include", text, re.MULTILINE):
            return None
    return f"made by `{construct.name} {construct.arguments[:40]}` in line {construct.line}?"


RULES = Rules(
    kind=KIND,
    ways={},
    page_suffixes=SUFFIXES,
    not_copied=(),
    made={r"/(?:feed|sitemap|atom)\.xml|/robots\.txt|/(?:.*/)?page\d+/?": None},
    slug=slugs.github,
    custom_id=ID_IN_BRACES,
    named=("attribute_ids",),
    always=r"|top|:~:.*|fn(?:ref)?:.*|markdown-toc.*",
    bodies=("element",),
    literal=frozenset({"comment", FRONT_MATTER, DISPLAYED, KRAMDOWN_COMMENT, LIQUID_COMMENT, LIQUID_CODE}),
    parts=r"_(?:includes|layouts|data|sass|plugins)/",
    effects={
        f"{LIQUID}:include_relative": Effect(includes=_included, anchors="included in line {line}?"),
        f"{LIQUID}:include": Effect(includes=_include, unknown=_tag),
        f"{LIQUID}:include_cached": Effect(includes=_include, unknown=_tag),
        LIQUID: Effect(unknown=_tag),
    },
)


def find(repository: Repository) -> Iterator[str]:
    """The folders of all _config.yml that are not another program's."""
    for path in repository.files:
        folder, _, name = path.rpartition("/")
        if name not in {"_config.yml", "_config.yaml", "_config.toml"}:
            continue
        others = (posixpath.join(folder, other) for other in ("_toc.yml", "scaffolds", "conf.py"))
        if not any(other in repository.files or other in repository.folders for other in others):
            yield folder


def make(repository: Repository, root: str) -> Site | None:
    """The site in a folder."""
    paths = [posixpath.join(root, f"_config.{suffix}") for suffix in ("yml", "yaml", "toml")]
    path = next((path for path in paths if path in repository.files), paths[0])
    text = repository.text(path)
    config = literals.toml(text) if path.endswith(".toml") else literals.yaml(text)
    content = posixpath.normpath(posixpath.join(root, literals.text(config, "source")))
    content = "" if content == "." else content
    gems = "".join(repository.text(posixpath.join(folder, "Gemfile")) or "" for folder in {root, ""})
    plugins = frozenset([*literals.texts(config.get("plugins")), *literals.texts(config.get("gems"))])
    # The code host builds sites that name no program of their own, and adds plugins to them.
    on_host = not gems.strip() or "github-pages" in gems
    pages = Pages(config, content, on_host, plugins)
    links = (itself, page_at_address, _served_file, as_host_serves)
    relative = (
        (_by_file,)
        if on_host or "jekyll-relative-links" in plugins | set(re.findall(r"[\w-]+", gems))
        else ()
    )
    wrong = (_left_as_it_is, outside_content, outside_base)
    kramdown = config.get("kramdown")
    rules = RULES.changed(
        ways={
            "link": (itself, *relative, *links, *wrong),
            IMAGE: (*links, *wrong),
            HREF: (*links, *wrong),
            SRC: (*links, *wrong),
            TEMPLATE: (partial(_template, config),),
        },
        addresses=pages.addresses,
        drafts=pages.drafts,
        base=literals.text(config, "baseurl") or "/",
        slug=partial(
            _slug_with_prefix,
            slugs.kramdown if literals.get(kramdown, "input") == "kramdown" else slugs.github,
            literals.text(kramdown, "auto_id_prefix"),
        ),
    )
    if literals.get(kramdown, "auto_ids") is False:
        rules = rules.changed(heading_levels=range(0))
    made = dict(rules.made)
    theme = config.get("theme") or config.get("remote_theme")
    if theme or on_host:
        # The host has a theme of its own for sites that name none; it brings style sheets and scripts.
        made[r"/assets/.*" if theme else r"/assets/.*\.(?:css|js)"] = "a file of the theme?"
    if "jekyll-archives" in plugins:
        made[r"/(?:tags?|categor(?:y|ies)|\d{4})/.*"] = "made by the plugin `jekyll-archives`?"
    unknown = sorted(plugins - _HARMLESS - {"jekyll-archives"})
    own = [path for path in repository.files if path.startswith(posixpath.join(root, "_plugins/"))]
    for name in (*(f"the plugin `{name}`" for name in unknown), *own):
        rules = rules.changed(any_target=f"made by {name}?", any_anchor=f"made by {name}?")
    return Site(as_hosted(rules.changed(made=made), repository, root), repository, root, content, path)
