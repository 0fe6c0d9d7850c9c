"""Reads the fields of front matter, as far as these are YAML or TOML."""

from __future__ import annotations

import json
import re
import sys
from typing import Any

# Longer ones are data, not what a page says of itself.
_LONGEST = 65536
_MANY_LEVELS = 1000


def read_fields(body: str, *, toml: bool) -> dict[str, Any] | None:
    """The fields of front matter, None when it cannot be read. Values are what JSON can hold."""
    if len(body) > _LONGEST:
        return None
    try:
        fields = _load_toml(body) if toml else _load_yaml(body)
        # Whatever else a value is (a date), its text says enough; and depth is bounded by this as well.
        fields = json.loads(json.dumps(fields, default=str)) if isinstance(fields, dict) else {}
    except MemoryError:
        raise
    except Exception:  # A loader of foreign text raises more than its own errors.
        return None
    return {str(key): value for key, value in fields.items()}


def _load_yaml(body: str) -> Any:
    import yaml

    has_alias = re.search(r"[\[\s:-]\*\w", body) is not None
    # An alias could make much of little.
    if has_alias and body.count("*") > 20:
        return None
    # The loader in C is eight times as fast. It recurses without a limit, and a nesting of some 20,000 levels ends the
    # process; the other one then raises RecursionError. Each level needs one of these, or an indentation of its own.
    may_nest = sum(map(body.count, "[{-?")) > _MANY_LEVELS
    loader = yaml.SafeLoader if has_alias or may_nest else getattr(yaml, "CSafeLoader", yaml.SafeLoader)
    return yaml.load(body, Loader=loader)


def _load_toml(body: str) -> Any:
    if sys.version_info >= (3, 11):
        import tomllib
    else:
        import tomli as tomllib
    return tomllib.loads(body)
