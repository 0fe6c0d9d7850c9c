"""Reads the fields of front matter, as far as these are YAML or TOML."""

from __future__ import annotations

import json
import re
import sys
from datetime import date
from typing import Any

# Longer ones are data, not what a page says of itself.
_LONGEST = 65536
# What `_read_plain` takes: lines `key: value` and `- value`, and the values whose meaning is beyond doubt.
_ENTRY = re.compile(r"( *)([A-Za-z_][\w-]{0,99}):(?: +([^ ](?:.*[^ ])?))? *")
_ITEM = re.compile(r"( *)- +([^ ](?:.*[^ ])?) *")
_CHARACTERS = r"[ -~\w\u2010-\u2026]"
_TEXT = re.compile(rf"[A-Za-z/](?!.*(?: \#|:(?: |$))){_CHARACTERS}*")
_NOT_TEXT = re.compile(r"(?:y|n|yes|no|on|off|true|false|null)", re.IGNORECASE)
_QUOTED = re.compile(rf"""(["'])((?:(?!\1|\\){_CHARACTERS})*)\1""")
_NUMBER = re.compile(r"0|[1-9][0-9]{0,17}")
_DATE = re.compile(r"[0-9]{4}-[0-9]{2}-[0-9]{2}")
_LIST = re.compile(r"""\[([\w/.()'" -]+(?:,[\w/.()'" -]+)*)?\]""")
_BOOLEANS = {"true": True, "false": False}


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
    """The fields of YAML that is plain, as most is; None for a body that holds anything else.

    The loader takes twenty times as long, which for a small page is half as long as all else.
    """
    fields: dict[str, Any] = {}
    # Mappings that are open, with their indents; then the key whose value may follow below, and a list that is open.
    mappings = [(0, fields)]
    pending: str | None = None
    items: list[Any] | None = None
    items_indent = 0
    try:
        for line in body.split("\n"):
            if not line.strip(" "):
                continue
            entry = _ENTRY.fullmatch(line)
            indent, mapping = mappings[-1]
            if entry is None:
                item = _ITEM.fullmatch(line)
                if item is None:
                    return None
                if pending is not None and len(item[1]) >= indent:
                    items_indent = len(item[1])
                    items = mapping[pending] = []
                    pending = None
                if items is None or len(item[1]) != items_indent:
                    return None
                items.append(_plain_value(item[2]))
                continue
            items = None
            if pending is not None and len(entry[1]) > indent:
                inner: dict[str, Any] = {}
                mapping[pending] = inner
                mappings.append((len(entry[1]), inner))
            while mappings[-1][0] > len(entry[1]):
                mappings.pop()
            indent, mapping = mappings[-1]
            key = entry[2]
            if indent != len(entry[1]) or _NOT_TEXT.fullmatch(key):
                return None
            pending = key if entry[3] is None else None
            mapping[key] = None if entry[3] is None else _plain_value(entry[3])
    except ValueError:
        return None
    return fields


def _plain_value(text: str) -> Any:
    """The value that a text is in YAML; raises ValueError for one that is not plain."""
    if _TEXT.fullmatch(text):
        if not _NOT_TEXT.fullmatch(text):
            return text
        if text in _BOOLEANS:
            return _BOOLEANS[text]
    elif (quoted := _QUOTED.fullmatch(text)) is not None:
        return quoted[2]
    elif _NUMBER.fullmatch(text):
        return int(text)
    elif _DATE.fullmatch(text):
        return date.fromisoformat(text).isoformat()
    elif (listed := _LIST.fullmatch(text)) is not None:
        items = [_plain_value(item.strip(" ")) for item in (listed[1] or "").split(",")] if listed[1] else []
        if all(isinstance(item, str) for item in items):
            return items
    raise ValueError(text)


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
