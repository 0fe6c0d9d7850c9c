"""Finds and reads the configuration of a site of Hugo, which may lie in many files."""

from __future__ import annotations

import posixpath
from collections.abc import Mapping
from typing import Any

from docmap.repository import Repository
from docmap.sites import literals

_SUFFIXES = ("toml", "yaml", "yml", "json")
_NAMES = tuple(f"{name}.{suffix}" for name in ("hugo", "config") for suffix in _SUFFIXES)
# Files that configure a site, relative to its folder.
CONFIGURATIONS = (*_NAMES, *(f"config/_default/{name}" for name in _NAMES))
# One of these at least is in a config.* of Hugo's, which other programs have as well.
_OF_HUGO = frozenset({"baseurl", "languagecode", "theme", "params", "markup", "contentdir", "module"})
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
    for table in ("languages", "permalinks", "markup", "module", "params", "taxonomies"):
        for suffix in _SUFFIXES:
            settings = _read(repository, posixpath.join(root, "config/_default", f"{table}.{suffix}"))
            if settings:
                config[table] = settings
    return {str(name).lower(): _lower(value) for name, value in config.items()}


def permalinks_of(config: Mapping[str, Any]) -> dict[str, str]:
    """The patterns of addresses of pages, by section."""
    both = {**literals.table(config, "permalinks"), **literals.table(config, "permalinks", "page")}
    return {section: pattern for section, pattern in both.items() if isinstance(pattern, str)}


def _read(repository: Repository, path: str) -> dict[str, Any]:
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
