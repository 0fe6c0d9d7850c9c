"""Renders the map of a folder as one HTML page that needs nothing else: no network, no other file."""

from __future__ import annotations

import base64
import hashlib
import html
import json
from importlib import metadata, resources
from pathlib import Path
from string import Template

from docmap.folder_map import FolderMap

# This package carries d3, with its licence. It is asked for the file's place and never imported.
_CARRIER = "gravis"
_LIBRARY = "gravis/_internal/plotting/third_party/d3/d3.v7.min.def.js"
_LICENCE = "gravis/_internal/plotting/third_party/d3/ORIGINAL_LICENSE"
# The carrier wraps d3 for a module loader; this much of one is enough to get it out.
_LOADER = """const require = { defined: () => false };
const define = (name, needs, make) => make(window.d3 = {});
"""
_SCRIPTS = "tree.js", "graph.js", "page.js"


class LibraryMissingError(Exception):
    """The drawing library is not installed."""


def render(folder: FolderMap) -> str:
    """Return the page. Raises LibraryMissingError when the optional dependency `page` is not installed."""
    # A folder's name may be no Unicode text; the page is.
    title = folder["name"].encode("utf-8", "replace").decode()
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
        title=html.escape(title),
        style=style,
        data=_inert(json.dumps(folder, separators=(",", ":"))),
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
