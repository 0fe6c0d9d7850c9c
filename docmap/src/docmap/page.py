"""Renders the map of a folder as one HTML page that needs nothing else: no network, no other file."""

from __future__ import annotations

import base64
import hashlib
import html
import json
import posixpath
import shlex
import sys
from collections import Counter
from collections.abc import Iterator
from importlib import metadata, resources
from importlib.util import find_spec
from itertools import accumulate
from pathlib import Path
from string import Template
from urllib.parse import quote

from docmap.folder_map import DocumentEntry, FolderMap

# This package carries d3, with its licence. It is asked for the file's place and never imported.
_CARRIER = "gravis"
_LIBRARY = "gravis/_internal/plotting/third_party/d3/d3.v7.min.def.js"
_LICENCE = "gravis/_internal/plotting/third_party/d3/ORIGINAL_LICENSE"
# The carrier wraps d3 for a module loader; this much of one is enough to get it out.
_LOADER = """const require = { defined: () => false };
const define = (name, needs, make) => make(window.d3 = {});
"""
_SCRIPTS = "model.js", "search.js", "tree.js", "labels.js", "layout.js", "picture.js", "reading.js", "page.js"
# Without scripts the outermost sections are listed, of so many levels and no more than so many of them; first
# paragraphs only where there are no more documents than this.
_MOST_LEVELS = 6
_MOST_OUTLINED = 6_000
_MOST_WITH_TEXT = 1_500


class LibraryMissingError(Exception):
    """The drawing library is not installed."""


def how_to_install() -> str:
    """The command that installs the drawing library for the interpreter that runs this."""
    wanted = [
        need.partition(";")[0].strip()
        for need in metadata.requires("docmap") or ()
        if need.startswith(_CARRIER)
    ]
    installer = [sys.executable, "-m", "pip"] if find_spec("pip") else ["uv", "pip"]
    more = [] if find_spec("pip") else ["--python", sys.executable]
    return shlex.join([*installer, "install", *more, *(wanted or [_CARRIER])])


def render(folder: FolderMap) -> str:
    """Return the page. Raises LibraryMissingError when the optional dependency `page` is not installed."""
    library = f"/*\n{_carried(_LICENCE)}*/\n{{\n{_LOADER}{_carried(_LIBRARY)}\n}}\n"
    own = '"use strict";\n' + "".join(map(_own, _SCRIPTS))
    style = _own("page.css")
    # Only these scripts and this style may run, so that even a fault in the escaping would start nothing.
    policy = (
        f"default-src 'none'; script-src {_source(library)} {_source(own)}; style-src {_source(style)}; "
        "base-uri 'none'; form-action 'none'"
    )
    return Template(_own("page.html")).substitute(
        policy=html.escape(policy, quote=False),
        title=html.escape(folder["title"][:300]),
        style=style,
        outline="\n".join(_outline(folder)),
        data=_inert(json.dumps(folder, separators=(",", ":"), ensure_ascii=False)),
        library=library,
        script=own,
    )


def _own(name: str) -> str:
    return (resources.files("docmap") / "assets" / name).read_text("utf-8")


def _carried(path: str) -> str:
    try:
        place = metadata.distribution(_CARRIER).locate_file(path)
        # A browser reads CRLF as LF, and would then find another hash.
        return Path(str(place)).read_text("utf-8").replace("\r\n", "\n")
    except (metadata.PackageNotFoundError, FileNotFoundError):
        raise LibraryMissingError from None


def _source(text: str) -> str:
    return f"'sha256-{base64.b64encode(hashlib.sha256(text.encode()).digest()).decode()}'"


def _inert(data: str) -> str:
    """JSON that stays text inside a script element: nothing in it can close that or open a comment."""
    return data.replace("<", "\\u003c").replace(">", "\\u003e").replace("&", "\\u0026")


# --- Without scripts --------------------------------------------------------------------------------


def _outline(folder: FolderMap) -> Iterator[str]:
    """The folder as HTML that needs no script: folders and documents to be opened, sections as links."""
    if not folder["documents"]:
        yield "<p>No Markdown documents are in this folder.</p>"
        return
    yield "<p>Scripts are switched off, so here is the outline alone.</p>"
    deepest = _depth_outlined(folder)
    by_folder: dict[str, list[DocumentEntry]] = {}
    for entry in folder["documents"]:
        by_folder.setdefault(posixpath.dirname(entry["path"]), []).append(entry)
    for path, entries in by_folder.items():
        # Only the folder itself is open at first.
        state, name = ("", path) if path else (" open", folder["title"])
        yield f"<details{state}><summary>{html.escape(name)}/ ({len(entries)})</summary>"
        for entry in entries:
            yield f"<details><summary>{html.escape(entry['title'][:300])}</summary>"
            yield _linked(folder, entry, 1, entry["path"])
            if entry["text"] and len(folder["documents"]) <= _MOST_WITH_TEXT:
                yield f"<p>{html.escape(entry['text'])}</p>"
            yield from _section_list(folder, entry, deepest)
            yield "</details>"
        yield "</details>"


def _depth_outlined(folder: FolderMap) -> int:
    """How many levels of sections are listed."""
    at = Counter(row[0] for entry in folder["documents"] for row in entry["sections"])
    sections = list(accumulate(at[depth] for depth in range(_MOST_LEVELS)))
    return sum(count <= _MOST_OUTLINED for count in sections)


def _section_list(folder: FolderMap, entry: DocumentEntry, deepest: int) -> Iterator[str]:
    open_lists = 0
    for depth, name, line, *_ in entry["sections"]:
        if int(depth) >= deepest:
            continue
        if open_lists > int(depth):
            yield "</li></ul>" * (open_lists - int(depth) - 1) + "</li>"
            open_lists = int(depth) + 1
        else:
            yield "<ul>"
            open_lists += 1
        yield f"<li>{_linked(folder, entry, int(line), str(name) or '(no text)')}"
    yield "</li></ul>" * open_lists


def _linked(folder: FolderMap, entry: DocumentEntry, line: int, text: str) -> str:
    # What is relative to the page's own place takes a script.
    if folder["link"] is None or folder["whole"]:
        return html.escape(text)
    path = entry.get("href") or quote(entry["path"])
    address = folder["link"].replace("{path}", path).replace("{line}", str(line))
    return f'<a href="{html.escape(address)}">{html.escape(text)}</a>'
