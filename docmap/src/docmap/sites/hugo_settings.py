"""Finds and reads the configuration of a site of Hugo, which may lie in many files."""

from __future__ import annotations

import posixpath
import re
from collections.abc import Mapping, Sequence
from typing import Any, NamedTuple

from docmap.repository import Repository
from docmap.sites import literals

_SUFFIXES = ("toml", "yaml", "yml", "json")
_NAMES = tuple(f"{name}.{suffix}" for name in ("hugo", "config") for suffix in _SUFFIXES)
# Files that configure a site, relative to its folder.
CONFIGURATIONS = (*_NAMES, *(f"config/_default/{name}" for name in _NAMES))
# One of these at least is in a config.* of Hugo's, which other programs have as well.
_OF_HUGO = frozenset({"baseurl", "languagecode", "theme", "params", "markup", "contentdir", "module"})
# Tables that may stand in a file of their own.
_TABLES = ("languages", "permalinks", "markup", "module", "params", "taxonomies", "outputs", "outputformats")
# Deeper ones are nobody's; a key of many dots would use up the stack, and an alias of YAML can hold itself.
_DEEPEST_SETTING = 20


def is_configured(repository: Repository, root: str, path: str) -> bool:
    """Whether this file is Hugo's, and the folder `root` has content."""
    if posixpath.basename(path).startswith("config.") and "config/_default" not in path:
        keys = {str(key).lower() for key in _read(repository, path)}
        if not keys & _OF_HUGO or "base_url" in keys:
            return False
    if posixpath.join(root, "content") in repository.folders:
        return True
    return bool(read_settings(repository, root).get("contentdir"))


def read_settings(repository: Repository, root: str) -> dict[str, Any]:
    """The settings of a site, with their names in lower case: Hugo does not tell letter case apart."""
    config: dict[str, Any] = {}
    for name in reversed(_NAMES):
        config.update(_read(repository, posixpath.join(root, name)))
        # In config/_default, each file but hugo and config is one table.
        config.update(_read(repository, posixpath.join(root, "config/_default", name)))
    for table in _TABLES:
        for suffix in _SUFFIXES:
            settings = _read(repository, posixpath.join(root, "config/_default", f"{table}.{suffix}"))
            if settings:
                config[table] = settings
    return {str(name).lower(): _lower(value) for name, value in config.items()}


def permalinks_of(config: Mapping[str, Any]) -> dict[str, str]:
    """The patterns of addresses of pages, by section."""
    both = {**literals.table(config, "permalinks"), **literals.table(config, "permalinks", "page")}
    return {section: pattern for section, pattern in both.items() if isinstance(pattern, str)}


class Mount(NamedTuple):
    """A folder that a site takes for one of its own: "docs" for "content" with the path "docs" in it."""

    source: str
    component: str
    path: str
    language: str


def mounts_of(config: Mapping[str, Any]) -> list[Mount]:
    """The mounts that the settings name."""
    mounts = []
    for mount in literals.entries(config, "module", "mounts"):
        component, _, path = literals.text(mount, "target").strip("/").partition("/")
        mounts.append(Mount(literals.text(mount, "source"), component, path, literals.text(mount, "lang")))
    return mounts


def contents_of(
    config: Mapping[str, Any], mounts: Sequence[Mount], default: str
) -> list[tuple[str, str, str]]:
    """The folders of content: where each lies, as what path of the content, of which language ("": any)."""
    sources = [(mount.source, mount.path, mount.language) for mount in mounts if mount.component == "content"]
    shared = literals.text(config, "contentdir", otherwise="content")
    sources = sources or [(shared, "", "")]
    own: dict[str, str] = {}
    without = []
    for language, options in literals.table(config, "languages").items():
        folder = literals.get(options, "contentdir")
        if isinstance(folder, str):
            own.setdefault(folder, language)
        else:
            without.append(language)
    if without and default not in without:
        # The content that they share is the first one's, as far as names of files do not say otherwise.
        sources = [(folder, path, language or without[0]) for folder, path, language in sources]
    return [*(sources if without or not own else []), *((folder, "", name) for folder, name in own.items())]


# What Hugo's own formats write for a page: beside its HTML, except for those of the whole site.
_WRITTEN = {
    "amp": "amp/index.html", "calendar": "index.ics", "csv": "index.csv", "css": "styles.css", "json": "index.json",
    "markdown": "index.md", "rss": "index.xml", "webappmanifest": "manifest.webmanifest",
}  # fmt: skip


def made_by_outputs(config: Mapping[str, Any]) -> dict[str, str | None]:
    """The addresses of what is written beside HTML, by the formats that `outputs` names, as patterns."""
    made: dict[str, str | None] = {}
    languages = "|".join(map(re.escape, literals.table(config, "languages")))
    for kind, names in literals.table(config, "outputs").items():
        around = rf"/(?:(?:{languages})/)?" if kind == "home" else r"/(?:.*/)?"
        for name in literals.texts(names):
            own = literals.table(config, "outputformats", name.lower())
            if own:
                base = re.escape(literals.text(own, "basename", otherwise="index"))
                below = re.escape(posixpath.join(literals.text(own, "path"), ""))
                made[f"{around}{below}{base}(?:\\.\\w+)?"] = None
            elif name.lower() in _WRITTEN:
                made[around + re.escape(_WRITTEN[name.lower()])] = None
    return made


def _read(repository: Repository, path: str) -> dict[str, Any]:
    """The settings in one file, {} for one that is missing or not well formed."""
    text = repository.text(path)
    if path.endswith(".toml"):
        return literals.toml(text)
    if path.endswith(".json"):
        loaded = literals.json(text)
        return loaded if isinstance(loaded, dict) else {}
    return literals.yaml(text)


def _lower(value: Any, levels: int = _DEEPEST_SETTING) -> Any:
    if not isinstance(value, dict) or not levels:
        return value
    return {str(key).lower(): _lower(inner, levels - 1) for key, inner in value.items()}
