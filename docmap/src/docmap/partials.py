"""Which documents a site may show as parts of its pages, found without parsing these.

A text that one site owns can be a part of another's pages. Few are; so the pages are only searched for constructs
that bring files in, code and all, and parsed when a document may be among these files.
"""

from __future__ import annotations

import re

from docmap.constructs import find_constructs
from docmap.documents import normalise
from docmap.facts import FENCE, Construct
from docmap.sites.site import Site
from docmap.source import Source

_FENCE_INFO = re.compile(rb"[`~]{3}[ \t]*\{([\w:.+-]+)\}[ \t]*([^\n]*)")
# What begins a line in the body of a directive is indented or quoted in the document.
_INDENT = re.compile(rb"\n[ \t>]+")


def perhaps_included(site: Site) -> frozenset[str]:
    """The files that pages of a site may include, and all that these may include; more rather than fewer."""
    if not site.may_include:
        return frozenset()
    found: set[str] = set(site.rules.appended)
    seen = {*site.pages, *found}
    waiting = list(seen)
    while waiting:
        source = waiting.pop()
        for construct in _constructs(site, source):
            path = site.included_by(construct, source)
            if path is None or path == source:
                continue
            found.add(path)
            if path not in seen and site.repository.is_document(path):
                seen.add(path)
                waiting.append(path)
    return frozenset(found)


def _constructs(site: Site, path: str) -> list[Construct]:
    if path in site.repository.known_facts:
        facts = site.facts(path)
        return [] if facts is None else facts.constructs
    data = site.repository.read_bytes(path)
    if data is None:
        return []
    data = _INDENT.sub(b"\n", normalise(data)[0].encode("utf-8"))
    found = list(find_constructs(Source(data)))
    for info in _FENCE_INFO.finditer(data):
        name, rest = (group.decode("utf-8", "replace").strip() for group in info.groups())
        found.append(Construct(0, FENCE, name, rest))
    return found
