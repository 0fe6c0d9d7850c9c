"""Settings of the check: [tool.docmap] in pyproject.toml, or docmap.toml, and the same as options."""

from __future__ import annotations

import fnmatch
import os
import re
import sys
from collections.abc import Iterable, Iterator, Mapping
from dataclasses import dataclass, field
from typing import Any

from pathspec import GitIgnoreSpec

_FILES = ("docmap.toml", "pyproject.toml")
_KEYS = frozenset({"exclude", "ignore", "root", "site"})


class ConfigError(Exception):
    """A setting that cannot be followed; the message says where it stands."""


@dataclass(frozen=True)
class SiteSetting:
    """What `site` says of a folder: the kind of its site, and the folder that the site's configuration is in."""

    kind: str
    root: str


@dataclass
class Config:
    """The settings, each with where it comes from; paths are relative to `root`, the folder that all are in."""

    root: str | None = None
    exclude: list[str] = field(default_factory=list)
    ignore: list[str] = field(default_factory=list)
    site: dict[str, SiteSetting] = field(default_factory=dict)
    origin: str = ""
    # Settings that matched something.
    used: set[tuple[str, str]] = field(default_factory=set)

    def __post_init__(self) -> None:
        self._ignored = [(pattern, re.compile(fnmatch.translate(pattern))) for pattern in self.ignore]
        self._excluded: list[tuple[str, GitIgnoreSpec]] = []
        for pattern in self.exclude:
            try:
                self._excluded.append((pattern, GitIgnoreSpec.from_lines([pattern])))
            except (ValueError, re.error):
                raise ConfigError(f'exclude: "{pattern}" is no pattern') from None

    def excludes(self, path: str) -> bool:
        """Whether the links of a document are not to be judged."""
        found = False
        for pattern, matcher in self._excluded:
            if matcher.match_file(path):
                self.used.add(("exclude", pattern))
                found = True
        return found

    def ignores(self, targets: Iterable[str]) -> bool:
        """Whether a finding about a target, in any of these spellings, is not to be shown."""
        for pattern, compiled in self._ignored:
            if any(compiled.match(target) for target in targets):
                self.used.add(("ignore", pattern))
                return True
        return False

    def unused(self, *, of_ignore: bool) -> Iterator[str]:
        """Settings that matched nothing, in words; those of `ignore` only when all documents were judged."""
        settings = [("exclude", pattern) for pattern in self.exclude]
        if of_ignore:
            settings += [("ignore", pattern) for pattern in self.ignore]
        settings += [("site", folder) for folder in self.site]
        for name, value in settings:
            if (name, value) not in self.used:
                yield f'{name}: "{value}" matches nothing'


def find_config(folder: str) -> str | None:
    """The file with settings that holds for a folder: in it, or above it up to the top of its Git repository."""
    folder = os.path.abspath(folder)
    while True:
        for name in _FILES:
            path = os.path.join(folder, name)
            if os.path.isfile(path) and (name == "docmap.toml" or _has_table(path)):
                return path
        above = os.path.dirname(folder)
        if above == folder or os.path.exists(os.path.join(folder, ".git")):
            return None
        folder = above


def _has_table(path: str) -> bool:
    # Most pyproject.toml hold no table of ours; one that is not well formed is only our matter if it does.
    try:
        with open(path, "rb") as file:
            return b"tool.docmap" in file.read()
    except OSError:
        return False


def read_config(path: str | None, options: Mapping[str, Any] | None = None) -> Config:
    """The settings of a file (None: none) and of the command line. Raises ConfigError."""
    table = _table(path) if path is not None else {}
    origin = os.path.basename(path) if path is not None else ""
    for key in table:
        if key not in _KEYS:
            raise ConfigError(f"{origin}: there is no setting {key!r}; there are {', '.join(sorted(_KEYS))}")
    options = options or {}
    root = options.get("root") or table.get("root")
    if root is not None and not isinstance(root, str):
        raise ConfigError(f"{origin}: root is a folder's path")
    if root is not None and not options.get("root") and path is not None:
        root = os.path.join(os.path.dirname(path), root)
    site = {
        _folder(key): _site(_folder(key), value, origin) for key, value in _mapping(table, origin).items()
    }
    for given in options.get("site") or ():
        folder, equals, kind = given.partition("=")
        if not equals:
            raise ConfigError(f'--site: "{given}" is not FOLDER=KIND')
        site[_folder(folder)] = SiteSetting(kind, _folder(folder))
    return Config(
        root=root,
        exclude=[*_texts(table, "exclude", origin), *(options.get("exclude") or ())],
        ignore=[*_texts(table, "ignore", origin), *(options.get("ignore") or ())],
        site=site,
        origin=origin,
    )


def _table(path: str) -> dict[str, Any]:
    if sys.version_info >= (3, 11):
        import tomllib
    else:
        import tomli as tomllib
    try:
        with open(path, "rb") as file:
            table = tomllib.load(file)
    except (OSError, ValueError, RecursionError) as error:
        raise ConfigError(f"{path}: {error}") from None
    if os.path.basename(path) == "pyproject.toml":
        tool = table.get("tool")
        table = tool.get("docmap", {}) if isinstance(tool, dict) else {}
    if not isinstance(table, dict):
        raise ConfigError(f"{path}: tool.docmap is no table")
    return table


def _texts(table: Mapping[str, Any], key: str, origin: str) -> list[str]:
    value = table.get(key, [])
    if not isinstance(value, list) or not all(isinstance(item, str) for item in value):
        raise ConfigError(f"{origin}: {key} is a list of texts")
    return value


def _mapping(table: Mapping[str, Any], origin: str) -> dict[str, Any]:
    value = table.get("site", {})
    if not isinstance(value, dict):
        raise ConfigError(f'{origin}: site is a table such as {{ "docs" = "mkdocs" }}')
    return value


def _site(folder: str, value: object, origin: str) -> SiteSetting:
    if isinstance(value, str):
        return SiteSetting(value, folder)
    if (
        isinstance(value, dict)
        and isinstance(value.get("name"), str)
        and isinstance(value.get("root", ""), str)
    ):
        return SiteSetting(value["name"], _folder(value.get("root", folder)))
    raise ConfigError(f'{origin}: site."{folder}" is a name, or a name and a root')


def _folder(path: str) -> str:
    path = os.path.normpath(path).replace(os.sep, "/")
    return "" if path == "." else path
