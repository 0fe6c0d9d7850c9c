"""Sites of generators that have no rules here: what the code host's rules deny, the generator may make."""

from __future__ import annotations

import re
from collections.abc import Iterator

from docmap.repository import Repository
from docmap.sites import code_host
from docmap.sites.site import Site

KIND = "unknown"

# What defines such a site: pattern of a path -> what else must stand in the file; group 1 is the folder.
_DEFINED_BY = {
    r"(.*/)?\.vuepress/config\.[cm]?[jt]s": "",
    r"(.*/)?astro\.config\.[cm]?[jt]s": r"\A(?!(?s:.*)@astrojs/starlight)",
    r"(.*/)?(?:gatsby|gridsome|rspress|eleventy|nuxt|vocs)[.-]config\.[cm]?[jt]s": "",
    r"(.*/)?\.eleventy\.c?js": "",
    r"(.*/)?next\.config\.[cm]?[jt]s": r"nextra|fumadocs|mdx",
    r"(.*/)?(?:mint|docs|docfx)\.json": r"navigation|mintlify|docfx|\"build\"",
    r"(.*/)?(?:_quarto|_bookdown|antora|myst|\.gitbook|retype)\.ya?ml": "",
    r"(.*/)?pelicanconf\.py": "",
    r"(.*/)?zensical\.toml": "",
    r"(.*/)?book\.json": r"plugins|structure|gitbook",
    r"(.*/)?index\.html": r"\$docsify",
    r"(.*/)?_config\.ya?ml": r"(?i)# hexo|hexo-",
}
_PATTERNS = {re.compile(pattern): re.compile(text) for pattern, text in _DEFINED_BY.items()}
# A Markdown file of these names is read on the code host, wherever a site is made.
_FOR_THE_HOST = re.compile(
    r"(?:readme|changelog|contributing|license|security|code_of_conduct)\.\w+", re.IGNORECASE
)


def _takes(site: Site, path: str) -> bool:
    place = site.within(path, site.content) or path
    return "/" in place or (site.content != "" and _FOR_THE_HOST.fullmatch(place) is None)


def find(repository: Repository) -> Iterator[str]:
    """The folders with a configuration of one of these generators."""
    for path in repository.files:
        folder = _folder(repository, path)
        if folder is not None:
            yield folder


def _folder(repository: Repository, path: str) -> str | None:
    for pattern, text in _PATTERNS.items():
        match = pattern.fullmatch(path)
        if match is not None and text.search(repository.text(path) or ""):
            return (match[1] or "").rstrip("/")
    return None


def make(repository: Repository, root: str) -> Site | None:
    """The site in a folder."""
    path = next((path for path in repository.files if _folder(repository, path) == root), root)
    why = f"made by the generator that {path} configures?"
    rules = code_host.RULES.changed(
        kind=KIND, takes=_takes, any_target=why, any_source=why, any_anchor=why, any_label=why
    )
    return Site(rules, repository, root, root, path)
