"""What components do to a page, where their source can be read, and what plugins of a parser may do."""

from __future__ import annotations

import posixpath
import re
from collections.abc import Iterable

from docmap.facts import COMPONENT, IMPORT, Construct
from docmap.sites.rules import Effect
from docmap.sites.site import Site

# Files that may define a component.
_SOURCES = (".vue", ".astro", ".jsx", ".tsx", ".js", ".ts", ".svelte", ".html")
# What makes anchors: an id, a heading, or text of elsewhere.
_MAKES_ANCHORS = re.compile(r"\bid\s*=|\bid:|<[Hh][1-6]\b|set:html|v-html|dangerouslySetInnerHTML|<Content\b")
# A part of a parser that is named for one of these may change what is an anchor, or make more of them.
_NAMED_FOR_ANCHORS = re.compile(
    r"anchor|heading|header|slug|attr|\bid|includ|transclu|deflist|gloss|wiki", re.IGNORECASE
)


def may_make_anchors(text: str) -> bool:
    """Whether the source of a component, shortcode or include makes ids or headings."""
    return _MAKES_ANCHORS.search(text) is not None


def anchor_parts(names: Iterable[str]) -> list[str]:
    """Those of the plugins of a Markdown parser that may make anchors, to go by their names."""
    return [name for name in names if _NAMED_FOR_ANCHORS.search(name)]


def component_effects(known: frozenset[str], aliases: dict[str, str]) -> dict[str, Effect]:
    """The effects of components, where those in `known` make no anchors, and of imported Markdown.

    `aliases`: beginnings of imported paths -> folders of the repository.
    """

    def path_of(site: Site, construct: Construct, page: str) -> str | None:
        target = construct.arguments.strip().strip("\"';")
        for alias, folder in aliases.items():
            if target.startswith(alias):
                return posixpath.normpath(posixpath.join(folder, target[len(alias) :]))
        return site.place(target, page) if target.startswith(".") else None

    def included(site: Site, construct: Construct, page: str) -> str | None:
        path = path_of(site, construct, page)
        # What is no Markdown is judged where it is used, as a component.
        return path if path is not None and path.lower().endswith((".md", ".mdx")) else page

    def unknown(site: Site, construct: Construct, page: str) -> str | None:
        """Why a component may make anchors: its source has some, or is not here."""
        name = construct.name.rpartition(".")[2]
        if name in known or construct.name.partition(".")[0] in known:
            return None
        facts = site.repository.facts(page)
        brought = [
            path_of(site, other, page)
            for other in (facts.constructs if facts is not None else ())
            if other.form == IMPORT and name in re.findall(r"\w+", other.name)
        ]
        if any(path is not None and path.lower().endswith((".md", ".mdx")) for path in brought):
            return None
        # <my-tabs> stands for MyTabs.
        pascal = "".join(part[:1].upper() + part[1:] for part in name.split("-"))
        named = {*site.files_by_name.get(name, ()), *site.files_by_name.get(pascal, ())}
        sources = [path for path in named if path.endswith(_SOURCES)]
        sources += [path for path in brought if path in site.repository.files]
        texts = [site.repository.text(path) for path in sources]
        if texts and all(text and not may_make_anchors(text) for text in texts):
            return None
        return f"made by the component <{construct.name}> in line {construct.line}?"

    return {COMPONENT: Effect(unknown=unknown), IMPORT: Effect(includes=included)}
