"""Reads what configures MkDocs, ProperDocs (which goes on from it) and Zensical: settings, what they inherit, hooks."""

from __future__ import annotations

import ast
import posixpath
import re
from collections.abc import Iterator, Mapping
from typing import Any

from docmap.repository import Repository
from docmap.sites import literals
from docmap.sites.site import Site

# A configuration may have any name that MkDocs is told; others than these are one by their settings.
_CONFIGURATION = re.compile(r"(?:.*/)?(?:(?:mkdocs|properdocs|zensical)[^/]*\.ya?ml|zensical\.toml)")
_USUAL_NAMES = ("mkdocs.yml", "mkdocs.yaml", "properdocs.yml", "properdocs.yaml", "zensical.toml")
# What Zensical has where its configuration names no extensions.
USUAL_EXTENSIONS: Mapping[str, Any] = {
    name: {}
    for name in (
        "attr_list", "def_list", "footnotes", "md_in_html", "toc", "pymdownx.emoji", "pymdownx.superfences",
    )
}  # fmt: skip
# Extensions whose names TOML splits at dots.
_IN_PACKAGES = ("pymdownx", "markdown", "zensical")
# What a hook may replace in a page without any link becoming another.
_NO_LINK = re.compile(r"<!--|[^\]()/.]*\Z")
# A hook of more characters is not looked into.
_LONGEST_HOOK = 65536
# A longer chain of files goes round in a circle; deeper tables are nobody's, and an alias of YAML can hold itself.
_MOST_INHERITED = 5
_DEEPEST_SETTING = 20


def configurations(repository: Repository) -> Iterator[str]:
    """The files that configure a site each, the usual names first."""
    paths = [path for path in repository.files if _CONFIGURATION.fullmatch(path)]
    usual = [path for path in paths if posixpath.basename(path) in _USUAL_NAMES]
    others = {path: literals.yaml(repository.text(path)) for path in paths if path not in usual}
    inherited = {
        Site.place(parent, path)
        for path, config in others.items()
        if isinstance(parent := config.get("INHERIT"), str)
    }
    yield from sorted(usual, key=lambda path: _USUAL_NAMES.index(posixpath.basename(path)))
    # MkDocs asks for a name; what has none is part of another, or no configuration of it.
    yield from (
        path for path in others if path not in inherited and "site_name" in settings_of(repository, path)
    )


def settings_of(repository: Repository, path: str, depth: int = 0) -> dict[str, Any]:
    """The settings of a file, and of the file that it inherits from."""
    if path.endswith(".toml"):
        tables = literals.toml(repository.text(path))
        return literals.table(tables, "project") or tables
    config = literals.yaml(repository.text(path))
    parent = config.get("INHERIT")
    if isinstance(parent, str) and depth < _MOST_INHERITED:
        return _merged(settings_of(repository, Site.place(parent, path), depth + 1), config)
    return config


def _merged(parent: dict[str, Any], config: dict[str, Any], depth: int = 0) -> dict[str, Any]:
    """The settings of both; tables are merged, and of everything else the heir's counts."""
    merged = {**parent, **config}
    for name in parent.keys() & config.keys():
        theirs, ours = parent[name], config[name]
        if isinstance(theirs, dict) and isinstance(ours, dict) and depth < _DEEPEST_SETTING:
            merged[name] = _merged(theirs, ours, depth + 1)
    return merged


def named_options(value: object) -> dict[str, dict[str, Any]]:
    """Extensions or plugins by name, with their options."""
    # Written as a mapping, or as a list of names and mappings.
    named: dict[str, Any] = {}
    for entry in value if isinstance(value, list) else [value]:
        named.update(entry if isinstance(entry, dict) else {entry: {}} if isinstance(entry, str) else {})
    options = {str(name): options if isinstance(options, dict) else {} for name, options in named.items()}
    for package in _IN_PACKAGES:
        # In TOML, [markdown_extensions.pymdownx.blocks.tab] is a table in tables.
        for name, inner in options.pop(package, {}).items():
            outer = f"{package}.{name}"
            if name in {"blocks", "extensions"} and isinstance(inner, dict):
                options |= {f"{outer}.{key}": literals.table(inner, key) for key in inner}
            else:
                options[outer] = inner if isinstance(inner, dict) else {}
    # Plugins of a theme are named with it: material/blog. Extensions have a short name: markdown.extensions.toc.
    names = {name: name.rpartition("/")[2].removeprefix("markdown.extensions.") for name in options}
    return {names[name]: value for name, value in options.items()}


def rewrites_links(hook: str) -> bool:
    """Whether something that a hook replaces in pages can be a link, or a part of one."""
    # CPython 3.10 makes the tree without a limit on depth, and one of some 100,000 levels ends the process.
    if len(hook) > _LONGEST_HOOK:
        return True
    try:
        calls = [node for node in ast.walk(ast.parse(hook)) if isinstance(node, ast.Call) and node.args]
    except (SyntaxError, ValueError, RecursionError, MemoryError):
        return True
    for call in calls:
        match call:
            case ast.Call(func=ast.Attribute(attr="replace"), args=[_, _, *_]):
                pass
            case ast.Call(func=ast.Attribute(value=ast.Name(id="re"), attr="sub" | "subn" | "compile")):
                pass
            case _:
                continue
        replaced = call.args[0]
        if not isinstance(replaced, ast.Constant) or not isinstance(replaced.value, str):
            return True
        if not _NO_LINK.match(replaced.value):
            return True
    return False
