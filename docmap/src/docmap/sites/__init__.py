"""The sites of a repository: which there are, and which of them a file belongs to.

A module of a kind of site has three names:

    KIND                                  the kind, as settings name it: "mdbook"
    find(repository)                      yields the roots of the sites of this kind, or, where a root may hold
                                          several, the files that define them
    make(repository, root)                the site of what was found, None when there is none after all

`make` is also called for a root that a setting names; it then need not find the files that define such a site.
"""

from __future__ import annotations

import posixpath
from collections.abc import Iterable, Mapping
from glob import glob
from importlib import import_module
from types import ModuleType

from docmap.repository import Repository
from docmap.sites.site import Site

# Modules of this package with the files and folders that can define a site of theirs, as patterns of `glob` below its
# folder: no site is found without one of these, while a file of such a name need not define one. The more telling
# first: of two that find a site at one place, the first has it.
DEFINING: Mapping[str, tuple[str, ...]] = {
    "mdbook": ("book.toml", "src/SUMMARY.md"),
    "mkdocs": ("mkdocs*.y*ml", "zensical.toml", "zensical*.y*ml", "properdocs*.y*ml"),
    "vitepress": (".vitepress/config.*", ".vitepress/config/index.*"),
    "docusaurus": ("docusaurus.config.*",),
    "starlight": ("astro.config.*",),
    "zola": ("config.toml", "zola.toml"),
    "hugo": (
        "hugo.toml", "hugo.y*ml", "hugo.json", "config.toml", "config.y*ml", "config.json",
        "config/_default/hugo.*", "config/_default/config.*",
    ),
    "sphinx": ("conf.py", "_toc.yml"),
    "unknown": (
        ".vuepress/config.*", "astro.config.*", "gatsby[.-]config.*", "gridsome[.-]config.*",
        "rspress[.-]config.*", "eleventy[.-]config.*", "vocs[.-]config.*", ".eleventy.*js", "nuxt.config.*",
        "next.config.*", "mint.json", "docs.json", "docfx.json", "book.json", "_quarto.y*ml",
        "_bookdown.y*ml", "antora.y*ml", "myst.y*ml", ".gitbook.y*ml", "retype.y*ml", "pelicanconf.py",
        "_[Ss]idebar.md", "_coverpage.md", "_navbar.md", "_config.y*ml", "website/siteConfig.js",
    ),
    "jekyll": ("_config.y*ml", "_config.toml"),
    "vault": (".obsidian", ".foam", ".logseq"),
}  # fmt: skip
MODULES = tuple(DEFINING)
CODE_HOST = "code_host"


def defines_a_site(folder: str) -> bool:
    """Whether something in this folder of the disk can define a site that the folder is the root of."""
    patterns = dict.fromkeys(pattern for patterns in DEFINING.values() for pattern in patterns)
    return any(glob(pattern, root_dir=folder) for pattern in patterns)


def module_of(kind: str) -> ModuleType | None:
    """The module of this kind of site, None when there is none of this name."""
    modules = (import_module(f"docmap.sites.{name}") for name in (*MODULES, CODE_HOST))
    return next((module for module in modules if kind == module.KIND), None)


def kinds() -> list[str]:
    """The kinds of sites that there are."""
    return [import_module(f"docmap.sites.{name}").KIND for name in (*MODULES, CODE_HOST)]


def find_sites(repository: Repository, settled: Mapping[str, tuple[str, str]] | None = None) -> list[Site]:
    """All sites of a repository, the code host last. `settled`: by folder, the kind of the site whose pages are
    there and the folder that its configuration is in, as settings have it."""
    settled = settled or {}
    found: dict[str, Site] = {}
    for folder, (kind, root) in settled.items():
        module = module_of(kind)
        site: Site | None = module.make(repository, root) if module is not None else None
        if site is not None:
            if folder != root:
                site.content = folder
            found[site.content] = site
    for name in MODULES:
        module = import_module(f"docmap.sites.{name}")
        for root in module.find(repository):
            folder = posixpath.dirname(root) if root in repository.files else root
            if any(folder == its_root for _, its_root in settled.values()):
                continue
            site = module.make(repository, root)
            if site is not None:
                found.setdefault(site.content, site)
    host: Site = import_module(f"docmap.sites.{CODE_HOST}").make(repository, "")
    sites = [*found.values(), host]
    _share_out(repository.documents, found, host)
    return sites


def _share_out(documents: Iterable[str], by_content: Mapping[str, Site], host: Site) -> None:
    """Give each document to the site with the innermost content root around it."""
    for path in documents:
        owner_of(path, by_content, host).pages.append(path)


def owner_of(path: str, by_content: Mapping[str, Site], host: Site) -> Site:
    """The site that a file belongs to: the innermost around it that takes it."""
    folder = path
    while folder:
        folder = folder.rpartition("/")[0]
        site = by_content.get(folder)
        if site is None or not path.lower().endswith(site.rules.page_suffixes):
            continue
        if site.rules.takes is None or site.rules.takes(site, path):
            return site
    return host
