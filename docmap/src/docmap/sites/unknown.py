"""Sites of generators that have no rules here: what the code host's rules deny, the generator may make."""

from __future__ import annotations

import posixpath
import re
from collections.abc import Iterator
from functools import partial

from docmap.documents import PAGE_SUFFIXES
from docmap.facts import FENCE, INCLUDE, SNIPPET, Construct
from docmap.repository import Repository
from docmap.sites import code_host
from docmap.sites.rules import Effect
from docmap.sites.site import Site

KIND = "unknown"

# What defines such a site: pattern of a path -> what else must stand in the file; group 1 is the folder.
_DEFINED_BY = {
    r"(.*/)?\.vuepress/config\.[cm]?[jt]s": "",
    r"(.*/)?astro\.config\.[cm]?[jt]s": r"\A(?!(?s:.*)@astrojs/starlight)",
    r"(.*/)?(?:gatsby|gridsome|rspress|eleventy|vocs)[.-]config\.[cm]?[jt]s": "",
    r"(.*/)?nuxt\.config\.[cm]?[jt]s": r"@nuxt/content|docus|nuxt-content",
    r"(.*/)?\.eleventy\.c?js": "",
    r"(.*/)?next\.config\.[cm]?[jt]s": r"nextra|fumadocs|mdx",
    r"(.*/)?(?:mint|docs|docfx)\.json": r"navigation|mintlify|docfx|\"build\"",
    r"(.*/)?(?:_quarto|_bookdown|antora|myst|\.gitbook|retype)\.ya?ml": "",
    r"(.*/)?pelicanconf\.py": "",
    r"(.*/)?book\.json": r"plugins|structure|gitbook",
    # Docsify, and the wikis of code hosts.
    r"(.*/)?(?:_[Ss]idebar|_coverpage|_navbar)\.md": "",
    r"(.*/)?_config\.ya?ml": r"(?i)# hexo|hexo-",
    # Docusaurus before its version 2.
    r"(.*/)?website/siteConfig\.js": "",
}
_PATTERNS = {re.compile(pattern): re.compile(text) for pattern, text in _DEFINED_BY.items()}
# How all of these paths end: a look at this comes first.
_SUFFIXES = ("js", "ts", "json", "yml", "yaml", "py", "bar.md", "page.md")
# The folder of documents that this names, which lies beside that of the site; usually it is "docs".
_CUSTOM_DOCS = re.compile(r"""customDocsPath['"]?\s*:\s*['"]([^'"]+)""")
# The first argument of an include.
_FIRST_PATH = re.compile(r"""\s*["']?([^\s"'<>]+)""")


def _included(site: Site, construct: Construct, page: str) -> str | None:
    """The file that an include names: beside the page, else from the site's or the repository's folder."""
    path = _FIRST_PATH.match(construct.arguments)
    if path is None:
        return None
    sources = (page, posixpath.join(site.root, "x"), "")
    places = [site.place(path[1].lstrip("/"), source) for source in sources]
    return next((place for place in places if place in site.repository.files), None)


def find(repository: Repository) -> Iterator[str]:
    """The folders with a configuration of one of these generators."""
    yield from _configurations(repository)


def _configurations(repository: Repository) -> dict[str, str]:
    """The folders, with the file that defines the site."""
    found: dict[str, str] = {}
    for path in repository.files:
        if not path.endswith(_SUFFIXES):
            continue
        for pattern, text in _PATTERNS.items():
            match = pattern.fullmatch(path)
            if match is not None and text.search(repository.text(path) or ""):
                found.setdefault((match[1] or "").rstrip("/"), path)
    return found


def make(repository: Repository, root: str) -> Site | None:
    """The site in a folder."""
    path = _configurations(repository).get(root, root)
    why = f"made by the generator that {path} configures?"
    include = Effect(includes=_included)
    rules = code_host.RULES.changed(
        kind=KIND,
        any_target=why,
        any_source=why,
        any_anchor=why,
        any_label=why,
        any_footnote=why,
        slips=False,
        needs_suffix=False,
        page_suffixes=PAGE_SUFFIXES,
        effects={SNIPPET: include, INCLUDE: include, f"{FENCE}:include": include},
    )
    if path.endswith("/siteConfig.js"):
        custom = _CUSTOM_DOCS.search(repository.text(path) or "")
        docs = posixpath.basename(custom[1].rstrip("/")) if custom is not None else "docs"
        rules = rules.changed(
            takes=partial(_is_below, tuple(posixpath.join(root, x) for x in (docs, "website")))
        )
    return Site(rules, repository, root, root, path)


def _is_below(folders: tuple[str, ...], site: Site, path: str) -> bool:
    return any(site.within(path, folder) is not None for folder in folders)
