"""Reads the fields of front matter, as far as these are YAML or TOML."""

from __future__ import annotations

import json
import re
import sys
from typing import TYPE_CHECKING, Any

if TYPE_CHECKING:
    import yaml

# Longer ones are data, not what a page says of itself.
_LONGEST = 65536
_MANY_LEVELS = 1000
_ALIAS = re.compile(r"[\[\s:-]\*\w")
_TEXT, _LIST, _MAPPING = (f"tag:yaml.org,2002:{kind}" for kind in ("str", "seq", "map"))


def read_fields(body: str, *, toml: bool) -> dict[str, Any]:
    """The fields of front matter, none when it cannot be read. Values are what JSON can hold."""
    if len(body) > _LONGEST:
        return {}
    try:
        fields = _as_json(_load_toml(body)) if toml else _load_yaml(body)
    except MemoryError:
        raise
    except Exception:  # A loader of foreign text raises more than its own errors.
        return {}
    return fields if isinstance(fields, dict) else {}


def _as_json(value: Any) -> Any:
    # Whatever else a value is (a date), its text says enough; and depth is bounded by this as well.
    return json.loads(json.dumps(value, default=str))


def yaml_loader(text: str) -> type[yaml.SafeLoader]:
    """The faster of PyYAML's loaders that this text can be trusted to."""
    import yaml

    # The loader in C is eight times as fast. It recurses without a limit, and a nesting of some 20,000 levels ends the
    # process; the other one then raises RecursionError. Each level needs one of these, or an indentation of its own.
    may_nest = sum(map(text.count, "[{-?")) > _MANY_LEVELS
    of_python = _has_alias(text) or may_nest
    return yaml.SafeLoader if of_python else getattr(yaml, "CSafeLoader", yaml.SafeLoader)


def _has_alias(text: str) -> bool:
    return _ALIAS.search(text) is not None


def _load_yaml(body: str) -> Any:
    # An alias could make much of little.
    if _has_alias(body) and body.count("*") > 20:
        return None
    loader = yaml_loader(body)(body)
    try:
        node = loader.get_single_node()
        return None if node is None else _value(loader, node)
    finally:
        loader.dispose()


def _value(loader: Any, node: Any) -> Any:
    """The value of a YAML node as JSON has it.

    Texts, lists and mappings of texts are taken as they are, in half the time of the library's general way.
    """
    tag, value = node.tag, node.value
    # An author can give any node any tag.
    if tag == _TEXT and node.id == "scalar":
        return value
    if tag == _LIST and node.id == "sequence":
        return [_value(loader, item) for item in value]
    is_mapping = tag == _MAPPING and node.id == "mapping"
    if is_mapping and all(key.tag == _TEXT and key.id == "scalar" for key, _ in value):
        return {key.value: _value(loader, item) for key, item in value}
    return _as_json(loader.construct_object(node, deep=True))


def _load_toml(body: str) -> Any:
    if sys.version_info >= (3, 11):
        import tomllib
    else:
        import tomli as tomllib
    return tomllib.loads(body)
