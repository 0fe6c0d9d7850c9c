"""Links in the fields of front matter that a site's theme shows: the buttons of a home page, the pages around one."""

from __future__ import annotations

import re
from collections.abc import Iterator, Mapping, Sequence
from typing import Any

from docmap.facts import Facts, Link
from docmap.inline import link_of

# A field by its names from the outermost: "*" stands for each entry of a list. -> the form of its link.
Fields = Mapping[tuple[str, ...], str]


def links_of_fields(facts: Facts, followed: Fields) -> list[Link]:
    """The links that these fields of a document hold, in its order."""
    text = facts.front_matter or ""
    # Most documents have none of these, and reading all fields takes long.
    if not any(f"{path[-1]}:" in text and path[0] in text for path in followed):
        return []
    lines = text.split("\n")
    links = []
    # Where to look for a field and value again.
    begins: dict[tuple[str, str], int] = {}
    for path, form in followed.items():
        for target in _values(facts.fields, path):
            field = path[-1], target
            at = _line_with(lines, begins.get(field, 0), *field)
            begins[field] = at + 1
            # The line above front matter is the first.
            link = link_of(form, at + 2, target)
            if link is not None:
                links.append(link)
    return sorted(links, key=lambda link: link.line)


def _values(value: Any, path: Sequence[str]) -> Iterator[str]:
    """The texts at the end of a path."""
    if not path:
        if isinstance(value, str):
            yield value.strip()
    elif path[0] == "*":
        for entry in value if isinstance(value, list) else ():
            yield from _values(entry, path[1:])
    elif isinstance(value, dict):
        yield from _values(value.get(path[0]), path[1:])


def _line_with(lines: Sequence[str], begin: int, name: str, target: str) -> int:
    """The first line from `begin` on that gives a field of this name this value; the first of all where none does."""
    # name: target, "name": "target", in a list or in braces as well.
    field = re.compile(rf"""\b{re.escape(name)}["']?\s*:\s*["']?{re.escape(target)}(?!\w)""")
    return next((at for at in range(begin, len(lines)) if field.search(lines[at])), 0)
