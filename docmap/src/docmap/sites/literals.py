"""Reads what a configuration says in so many words: YAML, TOML and JSON.

What a program would work out stays unread. A reader never fails: what is not to be read is `UNREAD`.
"""

from __future__ import annotations

import sys
from typing import Any

from docmap.front_matter import yaml_loader


class _Unread:
    """Stands for a value that only running a program would tell."""

    def __repr__(self) -> str:
        return "UNREAD"

    def __bool__(self) -> bool:
        return False


UNREAD = _Unread()


def toml(text: str | None) -> dict[str, Any]:
    """The tables of a TOML file, {} for one that is missing or not well formed."""
    if not text:
        return {}
    # The standard library has it from Python 3.11 on.
    if sys.version_info >= (3, 11):
        import tomllib
    else:
        import tomli as tomllib
    try:
        tables: dict[str, Any] = tomllib.loads(text)
    except (ValueError, RecursionError):
        return {}
    return tables


def yaml(text: str | None) -> dict[str, Any]:
    """The mapping of a YAML file, {} for one that is missing or none.

    A value with a tag keeps it: `!ENV NAME` is "!ENV NAME", and a mapping has it under the key "!".
    """
    import yaml as pyyaml

    class Loader(yaml_loader(text or "")):  # type: ignore[misc]
        pass

    def tagged(loader: pyyaml.SafeLoader, suffix: str, node: pyyaml.Node) -> object:
        if isinstance(node, pyyaml.ScalarNode):
            return f"!{suffix} {node.value}".strip()
        if isinstance(node, pyyaml.MappingNode):
            return {"!": suffix, **loader.construct_mapping(node, deep=True)}
        return UNREAD

    Loader.add_multi_constructor("!", tagged)
    Loader.add_multi_constructor("tag:yaml.org,2002:python/", tagged)
    try:
        loaded = pyyaml.load(text or "", Loader)
    except Exception:  # PyYAML raises more than YAMLError on odd values
        return {}
    return loaded if isinstance(loaded, dict) else {}


def json(text: str | None) -> Any:
    """The value of a JSON file, None for one that is missing or not well formed."""
    import json as reader

    try:
        return reader.loads(text or "null")
    except (ValueError, RecursionError):
        return None


def words(text: str) -> frozenset[str]:
    """The words of a text, as a set of names."""
    return frozenset(text.split())


def get(value: object, *keys: str | int) -> Any:
    """The value below `keys`; None when a step is missing, UNREAD when one cannot be read.

    A mapping with the key "..." holds more than can be read: what is missing in it is UNREAD.
    """
    for key in keys:
        if value is UNREAD:
            return UNREAD
        if isinstance(value, dict):
            value = value.get(key, UNREAD if "..." in value else None)
        elif isinstance(value, list) and isinstance(key, int) and key < len(value):
            value = value[key]
        else:
            return None
    return value


def text(value: object, *keys: str | int, otherwise: str = "") -> str:
    """The string below `keys`, `otherwise` when there is none."""
    found = get(value, *keys)
    return found if isinstance(found, str) else otherwise


def entries(value: object, *keys: str | int) -> list[Any]:
    """The list below `keys`, [] when there is none."""
    found = get(value, *keys)
    return found if isinstance(found, list) else []


def table(value: object, *keys: str | int) -> dict[Any, Any]:
    """The mapping below `keys`, {} when there is none."""
    found = get(value, *keys)
    return found if isinstance(found, dict) else {}


def texts(value: object) -> list[str]:
    """The strings of a list, or of a single value."""
    return [entry for entry in (value if isinstance(value, list) else [value]) if isinstance(entry, str)]
