"""Reads the inputs that the fuzz targets kept: ``replay.py folder...``; each folder is named after its target.

The targets cannot call PyYAML or ``re``. But the inputs that they keep reach every branch that they have found. So each
input is read by the module and by Python's own libraries, which compares both in every branch. Prints every difference;
the exit status is 1 when there is one.
"""

from __future__ import annotations

import json
import sys
import urllib.parse
from collections.abc import Callable
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "tests"))

import by_re
import sweep_yaml
from nodes import Node
from quarnel.engines import markdown


def inline_text(text: str) -> object:
    name = markdown._CLOSING_SEQUENCE.sub("", text)
    heading = Node("atx_heading", Node("inline", text=text.encode()))
    return (
        (markdown._plain_text(text), markdown._unmarked(text), markdown._heading(heading, None).name),
        (by_re.plain_text(text), by_re.unmarked(text), by_re.plain_text(name)),
    )


def links(text: str) -> object:
    found = list(markdown._inline_targets(text, 1))
    expected = by_re.inline_targets(text, 1) if "](" in text or "[[" in text else []
    return (
        (found, markdown._destination(text), markdown.unquote(text)),
        (expected, by_re.destination(text), urllib.parse.unquote(text)),
    )


def toml_fields(body: str) -> dict[str, str]:
    fields = {}
    for line in body.split("\n"):
        if markdown._TOML_TABLE.match(line):
            break
        if match := markdown._TOML_FIELD.match(line):
            try:
                fields[match[1]] = match[2][1:-1] if match[2][0] == "'" else json.loads(match[2])
            except json.JSONDecodeError:
                fields[match[1]] = match[2][1:-1]
    return fields


def front_matter(text: str) -> object:
    return (sweep_yaml.difference(text), markdown._toml_fields(text)), (None, toml_fields(text))


def rows_and_bytes(text: str) -> object:
    lines = text.split("\n")
    headings = [markdown._Heading("x", 1 + len(line) % 6, row, None) for row, line in enumerate(lines)]
    symbols = markdown._section_ends(headings, lines)
    for heading, end in zip(headings, symbols, strict=True):
        later = (h.first_row for h in headings[heading.first_row + 1 :] if h.level <= heading.level)
        row = next(later, len(lines)) - 1
        while row > heading.first_row and not lines[row].strip():
            row -= 1
        if row != end:
            return (heading, end), (heading, row)
    return None, None


TARGETS: dict[str, Callable[[str], object]] = {
    "inline_text": inline_text, "links": links, "front_matter": front_matter, "rows_and_bytes": rows_and_bytes,
}  # fmt: skip


def main(folders: list[str]) -> int:
    differences = 0
    for folder in map(Path, folders):
        files = sorted(path for path in folder.iterdir() if path.is_file())
        for path in files:
            data = path.read_bytes()
            text = data.decode("utf-8", "replace")
            found, expected = TARGETS[folder.name](text)
            if markdown._text(Node("inline", text=data)) != text:
                found, expected = "decoded", text
            if found != expected:
                differences += 1
                print(f"{path}: {text!r} is read as {found!r}, not {expected!r}")
        print(f"{folder.name}: {len(files)} inputs read by the module and by the interpreter's libraries")
    return 1 if differences else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
