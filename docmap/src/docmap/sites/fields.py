"""Links in the fields of front matter that a site's theme shows: the buttons of a home page, the pages around one."""

from __future__ import annotations

import re
from collections import deque
from collections.abc import Iterable, Iterator, Mapping, Sequence
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
    lines = _lines_by_value(text, {path[-1] for path in followed})
    links = []
    for path, form in followed.items():
        for target in _values(facts.fields, path):
            found = lines.get((path[-1], _first_word(target)))
            # The line above front matter is the first.
            link = link_of(form, found.popleft() if found else 2, target)
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


def _lines_by_value(text: str, names: Iterable[str]) -> dict[tuple[str, str], deque[int]]:
    """The lines of a document that give fields of these names a value, by name and first word of the value."""
    found: dict[tuple[str, str], deque[int]] = {}
    field = re.compile(rf"""\b({"|".join(map(re.escape, names))})["']?[ \t]*:[ \t]*["']?([^\s"',{{}}]+)""")
    for line, written in enumerate(text.split("\n"), 2):
        for match in field.finditer(written):
            found.setdefault((match[1], match[2]), deque()).append(line)
    return found


def _first_word(target: str) -> str:
    return (re.split(r"""[\s"',{}]""", target, maxsplit=1))[0]
