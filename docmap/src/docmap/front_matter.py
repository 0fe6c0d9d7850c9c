"""Reads the fields of front matter, as far as these are YAML or TOML."""

from __future__ import annotations

import json
import re
import sys
from typing import Any

# Longer ones are data, not what a page says of itself.
_LONGEST = 65536
# `key: value` with a value that YAML cannot take for anything but a text; most front matter is such lines.
_PLAIN_LINE = re.compile(r"([A-Za-z_][\w-]*):[ ]+([A-Za-z/][\w/.,()' -]*?(?<![ :]))[ ]*")
_NOT_TEXT = re.compile(r"(?:y|n|yes|no|on|off|true|false|null)", re.IGNORECASE)


def read_fields(body: str, *, toml: bool) -> dict[str, Any] | None:
    """The fields of front matter, None when it cannot be read. Values are what JSON can hold."""
    if len(body) > _LONGEST:
        return None
    if not toml:
        plain = _read_plain(body)
        if plain is not None:
            return plain
    try:
        fields = _load_toml(body) if toml else _load_yaml(body)
        # Whatever else a value is (a date), its text says enough; and depth is bounded by this as well.
        fields = json.loads(json.dumps(fields, default=str)) if isinstance(fields, dict) else {}
    except MemoryError:
        raise
    except Exception:  # A loader of foreign text raises more than its own errors.
        return None
    return {str(key): value for key, value in fields.items()}


def _read_plain(body: str) -> dict[str, Any] | None:
    fields: dict[str, Any] = {}
    for line in body.split("\n"):
        if not line.strip():
            continue
        match = _PLAIN_LINE.fullmatch(line)
        if match is None or _NOT_TEXT.fullmatch(match[2]) or " #" in line:
            return None
        fields[match[1]] = match[2]
    return fields


def _load_yaml(body: str) -> Any:
    import yaml

    # The loader in C is eight times as fast; an alias could make much of little.
    if re.search(r"[\[\s:-]\*\w", body):
        return None if body.count("*") > 20 else yaml.load(body, Loader=yaml.SafeLoader)
    return yaml.load(body, Loader=getattr(yaml, "CSafeLoader", yaml.SafeLoader))


def _load_toml(body: str) -> Any:
    if sys.version_info >= (3, 11):
        import tomllib
    else:
        import tomli as tomllib
    return tomllib.loads(body)
