"""Finds the links of a folder that lead nowhere. In doubt a link is not reported."""

from __future__ import annotations

import os
import posixpath
import re
from collections import Counter
from collections.abc import Iterable, Iterator
from dataclasses import dataclass

from quarnel.engines.references import REF_WIKI_LINK, ReferenceInfo

from docmap.anchors import Anchors, find_anchors, is_judged, slug, squash
from docmap.documents import SourceFile, read_text
from docmap.reading import Document, Unreadable, document_of, link_target, parse
from docmap.spelling import Spelling
from docmap.targets import Folder, in_other_spellings, names_page, names_route
from docmap.templates import is_filled_in, is_partial, literal_lines

_FRONT_MATTER = re.compile(r"\A(---|\+\+\+)[ \t]*\n(.*?)^\1[ \t]*$", re.DOTALL | re.MULTILINE)
_WORD = re.compile(r"[^\s,\"'\[\]]+")
_FOOTNOTE = re.compile(r"[ \t>]*\[\^")
_MANY_PAGES = 5


@dataclass(frozen=True)
class Page:
    """A document and what is needed to judge links from it and to it."""

    document: Document
    anchors: Anchors
    # Lines whose links are none, or are shown to the reader as an example.
    skipped_lines: frozenset[int]
    # What front matter says, as single words and as whole values: other addresses of the page are among it.
    other_names: frozenset[str]


@dataclass(frozen=True)
class Finding:
    """A broken link: where it stands, what it says, what is wrong, what may have been meant."""

    file: str
    line: int
    target: str
    message: str
    suggestion: str | None


def read_page(file: SourceFile) -> Page | Unreadable:
    """Read one file for checking. Errors are returned, so that they come back from other processes too."""
    try:
        text, replaced = read_text(file.path)
    except OSError as error:
        return Unreadable(file, error.strerror or str(error))
    root = parse(text)
    document = document_of(file, root, text, replaced=replaced)
    footnotes = {number for number, line in enumerate(text.split("\n"), 1) if _FOOTNOTE.match(line)}
    anchors = find_anchors(root, text, document.sections)
    return Page(document, anchors, literal_lines(text) | footnotes, _other_names(text))


def _other_names(text: str) -> frozenset[str]:
    front_matter = _FRONT_MATTER.match(text)
    if front_matter is None:
        return frozenset()
    words = _WORD.findall(front_matter[2])
    values = [line.lstrip(" -").split(": ", 1)[-1] for line in front_matter[2].split("\n")]
    last_names = [posixpath.basename(word.rstrip("/")) for word in words]
    return frozenset(key for name in (*words, *values, *last_names) if (key := squash(name)))


class Checker:
    """Judges the links of pages of one folder."""

    def __init__(self, folder: Folder, pages: Iterable[Page], *, all_files: bool) -> None:
        self._folder = folder
        self._all_files = all_files
        self._spelling = Spelling()
        # How many pages link to a target, counted when first asked for.
        self._linking: Counter[str] | None = None
        self._pages = {self.path_of(page): page for page in pages}
        self._other_names = frozenset().union(*(page.other_names for page in self._pages.values()))
        self._titles = {squash(page.document.title or "") for page in self._pages.values()}
        self._uses_wiki_links = any(
            link.kind == REF_WIKI_LINK and link.name and folder.find_note(link.name, path)
            for path, page in self._pages.items()
            for link in page.document.links
        )

    def path_of(self, page: Page) -> str:
        """The path of a page relative to the folder, with "/"."""
        path = os.path.relpath(os.path.abspath(page.document.file.path), self._folder.root)
        return path.replace(os.sep, "/")

    def findings(self, page: Page) -> Iterator[Finding]:
        """Yield the broken links of one page in document order."""
        path = self.path_of(page)
        if is_partial(path):
            return
        for link in page.document.links:
            if link.line in page.skipped_lines or is_filled_in(link.name):
                continue
            judge = self._judge_wiki_link if link.kind == REF_WIKI_LINK else self._judge_link
            problem = judge(link, path)
            if problem is not None:
                yield Finding(page.document.file.shown, link.line, link_target(link), *problem)

    def leads_to(self, link: ReferenceInfo, source: str) -> str | None:
        """The path of the page that a link in the file `source` leads to; None when it leads elsewhere."""
        if not link.name:
            return source
        find = self._folder.find_note if link.kind == REF_WIKI_LINK else self._folder.find_link
        return next((path for path in find(link.name, source) or () if path in self._pages), None)

    def _judge_link(self, link: ReferenceInfo, source: str) -> tuple[str, str | None] | None:
        if not link.name:
            return self._judge_anchor(link.qualifier, [source], source)
        found = self._folder.find_link(link.name, source)
        if found is not None:
            return self._judge_anchor(link.qualifier, found, source)
        name = in_other_spellings(link.name)[-1]
        if names_route(name):
            if not self._names_no_page(name):
                return None
        elif not names_page(name) and not self._all_files:
            return None
        suggestion = self._folder.closest_page(name, source)
        if names_route(name) and suggestion is None and not (self._all_files and self._is_rare(link.name)):
            # A generator or a server may make what the address stands for; surely so when many pages use it.
            return None
        return f'no file "{link.name}"', suggestion

    def _is_rare(self, name: str) -> bool:
        if self._linking is None:
            self._linking = Counter(
                name for page in self._pages.values() for name in {link.name for link in page.document.links}
            )
        return self._linking[name] < _MANY_PAGES

    def _names_no_page(self, route: str) -> bool:
        """Whether no page has the last name of this address, be it in another folder or by front matter."""
        last = posixpath.splitext(posixpath.basename(route.rstrip("/")))[0]
        return not self._folder.has_route_named(route) and squash(last) not in self._other_names

    def _judge_wiki_link(self, link: ReferenceInfo, source: str) -> tuple[str, str | None] | None:
        if not link.name:
            return self._judge_anchor(_last_part(link.qualifier), [source], source)
        found = self._folder.find_note(link.name, source)
        if found is not None:
            return self._judge_anchor(_last_part(link.qualifier), found, source)
        key = squash(link.name)
        if ":" in link.name or key in self._other_names or key in self._titles:
            return None
        if not self._all_files and not names_page(link.name) and "." in link.name:
            return None
        suggestion = self._folder.closest_note(link.name)
        # Double brackets mean other things too; where no page is linked so, they are no links.
        if not self._uses_wiki_links and suggestion is None:
            return None
        return f'no page "{link.name}"', suggestion

    def _judge_anchor(
        self, anchor: str | None, found: list[str], source: str
    ) -> tuple[str, str | None] | None:
        if anchor is None or is_filled_in(anchor) or not is_judged(anchor):
            return None
        pages = [self._pages.get(path) for path in found]
        known = [page for page in pages if page is not None]
        if not known or len(known) < len(pages) or any(page.anchors.has(anchor) for page in known):
            return None
        anchors = known[0].anchors
        closest = self._spelling.closest(slug(anchor), anchors.slugs, 0.7, of=found[0])
        where = "" if found[0] == source else f" in {known[0].document.file.shown}"
        return f'no heading "#{anchor}"{where}', closest and f"#{closest}"


def _last_part(anchor: str | None) -> str | None:
    """The heading that a wiki anchor names last («A#B»); None for a block («^id»), which is no heading."""
    if anchor is None or "^" in anchor:
        return None
    return anchor.rsplit("#", 1)[-1] or None
