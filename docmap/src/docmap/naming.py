"""What documents and folders are called on the page, and in which order they stand."""

from __future__ import annotations

import os
import posixpath
import re
import unicodedata
from collections import Counter
from collections.abc import Callable, Sequence
from functools import cache
from pathlib import Path

from docmap.sites import literals
from docmap.sites.scripts import Script

# Documents that introduce their folder; the first of these that is there does.
INDEXES = "index", "_index", "readme"
# An attribute list at the end of a heading: `{#id}`, `{: .class}`.
_ATTRIBUTES = re.compile(r"(?<!\s)\s*\{:?\s*[#.][^{}]*\}\s*$")
# More digits than these are no number that somebody counted up to.
_NUMBER = re.compile(r"([0-9]{1,15})")
# Files that stand in an order: `3.md`, `02-install.md`, `ch01-00.md`, `part-2.md`.
_NUMBERED = re.compile(r"([a-z]{0,8})[-_ ]?[0-9]+(?![a-z0-9])")
# Files with the same letters before their numbers are a series from this many on.
_SERIES = 3
# Names that say nothing of what a folder is about.
_NO_TITLES = frozenset(
    {"", "about", "docs", "documentation", "getting started", "home", "index", "install", "installation",
     "introduction", "overview", "readme", "welcome"}
)  # fmt: skip
_NO_NAMES = _NO_TITLES | {
    "book",
    "content",
    "doc",
    "en",
    "guide",
    "pages",
    "site",
    "source",
    "src",
    "website",
    "wiki",
}
# Where site generators are told the name of a site.
_SITE_NAMES = {
    "mkdocs.yml": r"^site_name:\s*(.+?)\s*$",
    "book.toml": r"^title\s*=\s*(.+?)\s*$",
    "_config.yml": r"^title:\s*(.+?)\s*$",
    "hugo.toml": r"^title\s*=\s*(.+?)\s*$",
    "conf.py": r"^project\s*=\s*(.+?)\s*$",
    ".vitepress/config.ts": r"^\s*title:\s*(['\"].+?['\"]),?\s*$",
    "docusaurus.config.js": r"^\s*title:\s*(['\"].+?['\"]),?\s*$",
}
# The index of a site whose documents lie apart from its configuration, and what that is called.
_CONTENT_INDEX = re.compile(r"(?:(.*)/)?src/content/docs/index\.\w+")
_CONTENT_CONFIGS = "astro.config.mjs", "astro.config.ts", "astro.config.js", "astro.config.mts"

# Text and numbers by turns, text first, so that like is compared with like.
Natural = list[str | int]


def shown(text: str) -> str:
    """Return `text` with signs for what would be obeyed, not shown: control and direction characters."""
    return text if text.isprintable() else "".join(map(_sign, text))


def _sign(character: str) -> str:
    code = ord(character)
    if code < 32 or code == 127:
        return chr(0x2400 + code) if code < 32 else "\u2421"
    kind = unicodedata.category(character)
    if kind == "Cs":
        return "\ufffd"
    # Joiners are letters of some scripts and of emoji; other format characters direct the text beside.
    if kind == "Cc" or (kind == "Cf" and character not in "\u200c\u200d\u00ad"):
        return f"[U+{code:04X}]"
    return character


def heading_shown(text: str) -> str:
    """The name of a heading, without an attribute list."""
    return shown((_ATTRIBUTES.sub("", text) if text.rstrip().endswith("}") else text).strip())


def document_title(path: str, title: str | None) -> str:
    """What a document is called: as it says itself, else as its file; an index as its folder."""
    folder, stem = posixpath.dirname(path), _stem(path)
    # Every folder may have an index; the name of the folder tells them apart.
    return heading_shown(title or "") or shown(
        posixpath.basename(folder) if folder and stem.casefold() in INDEXES else stem
    )


def folder_title(root: str, own: str | None, home: str | None) -> str:
    """What a folder is called, the first of these that says something: the name of the site that its index `home` is the
    first page of, deep in the folder; `own`, the title of that index; the name of the site in the folder or the one
    above; the folder's name on disk."""
    if home is not None and (inside := _CONTENT_INDEX.fullmatch(home)):
        name = _content_title(Path(root, inside[1] or ""))
        if name:
            return shown(name)
    if own is not None and heading_shown(own).casefold() not in _NO_TITLES:
        return heading_shown(own)
    path = Path(os.path.abspath(root))
    for folder in (path, path.parent):
        for file, pattern in _SITE_NAMES.items():
            try:
                told = re.search(pattern, (folder / file).read_text("utf-8", "replace"), re.MULTILINE)
            except OSError:
                continue
            if told is not None and (name := told[1].strip("'\"")):
                return shown(name)
    names = [name for name in path.parts if name != path.anchor]
    last = names[-1] if names else "/"
    # "docs" says nothing; the folder around it is the project.
    return shown(f"{names[-2]} {last}" if last.casefold() in _NO_NAMES and len(names) > 1 else last)


def _content_title(folder: Path) -> str:
    def read(path: str) -> str | None:
        try:
            return Path(path).read_text("utf-8", "replace")
        except (OSError, ValueError):
            return None

    for file in _CONTENT_CONFIGS:
        title = literals.get(Script(str(folder / file), read).arguments("starlight"), "title")
        # One for each language, the main one first as a rule.
        names = list(title.values()) if isinstance(title, dict) else [title]
        if names and isinstance(names[0], str):
            return names[0].strip()
    return ""


def home_among(paths: Sequence[str]) -> int | None:
    """The index or README of the outermost folder that has one above all documents; else that of the outermost
    site, where it is the only one there."""
    above = posixpath.commonpath(list(map(posixpath.dirname, paths))) if paths else ""
    folders = [above]
    while folders[-1]:
        folders.append(posixpath.dirname(folders[-1]))
    found: dict[tuple[int, int], int] = {}
    for number, path in enumerate(paths):
        folder, stem = posixpath.dirname(path), _stem(path).casefold()
        if stem in INDEXES and folder in folders:
            found.setdefault((-folders.index(folder), INDEXES.index(stem)), number)
    if found:
        return found[min(found)]
    sites: dict[int, list[int]] = {}
    for number, path in enumerate(paths):
        if _CONTENT_INDEX.fullmatch(path):
            sites.setdefault(path.count("/"), []).append(number)
    outermost = sites[min(sites)] if sites else []
    return outermost[0] if len(outermost) == 1 else None


def reading_order(paths: Sequence[str]) -> Callable[[str, str], list[tuple[int, int, Natural]]]:
    """Return what orders documents of these paths, given path and title: in each folder its index, then files that
    are numbered, by their numbers, then the others by title; then the folders in it, by name. Case and accents do
    not count, and chapter 2 comes before chapter 10."""
    below = Counter(folder for path in paths for folder in _folders_of(path))
    # Folder, stem and letters of each; and what a folder that holds more than one document adds to the key.
    parts = {
        path: (posixpath.dirname(path), stem := _stem(path).casefold(), _letters(stem)) for path in paths
    }
    series = Counter((folder, letters) for folder, _, letters in parts.values())

    @cache
    def steps_to(folder: str) -> tuple[tuple[int, int, Natural], ...]:
        # A folder that holds one document is shown as that document.
        folders = [each for each in _folders_of(f"{folder}/") if below[each] > 1]
        return tuple((1, 0, _natural(posixpath.basename(each))) for each in folders)

    def key(path: str, title: str) -> list[tuple[int, int, Natural]]:
        folder, stem, letters = parts[path]
        own: tuple[int, int, Natural]
        if stem in INDEXES and (not folder or below[folder] > 1):
            own = 0, INDEXES.index(stem), []
        elif letters == "" or (letters and series[folder, letters] >= _SERIES):
            own = 0, len(INDEXES), _natural(stem)
        else:
            own = 0, len(INDEXES) + 1, _natural(title)
        return [*steps_to(folder), own, (0, 0, [path])]

    return key


def _stem(path: str) -> str:
    return posixpath.splitext(posixpath.basename(path))[0]


def _folders_of(path: str) -> list[str]:
    """The folders around a document, the outermost first."""
    return [path[:end] for end, character in enumerate(path) if character == "/"]


def _letters(stem: str) -> str | None:
    """What stands before the number in a file's name; None where the name is not numbered."""
    match = _NUMBERED.match(stem)
    return match and match[1]


def _natural(text: str) -> Natural:
    plain = text.casefold()
    if not plain.isascii():
        decomposed = unicodedata.normalize("NFKD", plain)
        plain = "".join(character for character in decomposed if not unicodedata.combining(character))
    return [int(part) if place % 2 else part for place, part in enumerate(_NUMBER.split(plain))]
