"""The navigation of a site of MkDocs: the pages that mkdocs.yml lists."""

from __future__ import annotations

import re
from collections.abc import Iterator
from typing import Any

from docmap.facts import NAV, Link

# Plugins that make pages of names which are no files, or read the navigation in a way of their own.
_READ_OTHERWISE = frozenset({"i18n", "literate-nav", "awesome-pages", "awesome-nav", "monorepo", "multirepo"})
# What is surely the path of a page: no address, no pattern, no include of a plugin.
_PAGE = re.compile(r"(?!!|/|[a-zA-Z][a-zA-Z0-9+.-]*:)[^*?{}\[\]|]+\.md")

_QUOTED = re.compile(r"""["']([^"'\n]+\.md)["']""")


def links_of_navigation(nav: object, plugins: set[str], text: str) -> Iterator[Link]:
    """The pages that a navigation lists, with the lines of `text` that name them."""
    if plugins & _READ_OTHERWISE:
        return
    lines: dict[str, int] = {}
    for number, line in enumerate(text.split("\n"), 1):
        # - page.md, - Title: page.md, with quotes or without.
        lines.setdefault(re.sub(r"\s+#.*$", "", line).rpartition(": ")[2].strip("- \t\r\"'"), number)
        # In TOML several may stand in one line: { Title = "page.md" }, "other.md",
        for path in _QUOTED.findall(line):
            lines.setdefault(path, number)
    for path in dict.fromkeys(_paths(nav)):
        # What an inherited file lists has no line here.
        if _PAGE.fullmatch(path) and path in lines:
            yield Link(lines[path], NAV, path, None, path)


def _paths(nav: object) -> Iterator[str]:
    waiting: list[Any] = [nav]
    # An alias of YAML can hold itself.
    seen: set[int] = set()
    while waiting:
        entry = waiting.pop()
        if isinstance(entry, str):
            yield entry
        elif isinstance(entry, list | dict) and id(entry) not in seen:
            seen.add(id(entry))
            waiting.extend(reversed(list(entry.values()) if isinstance(entry, dict) else entry))
