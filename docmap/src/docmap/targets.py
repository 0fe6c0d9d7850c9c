"""Finds what a link of a folder leads to: as code hosts, site generators and note-taking programs do."""

from __future__ import annotations

import html
import os
import posixpath
import re
from collections.abc import Iterator

from docmap.anchors import squash
from docmap.documents import is_markdown
from docmap.spelling import Spelling

# A link to a folder goes to one of these.
_INDEXES = frozenset({"index", "_index", "readme"})
_PAGE_SUFFIXES = (".md", ".markdown", ".mdx", ".rmd", ".qmd")
_HTML_SUFFIXES = (".html", ".htm")
_ESCAPED = re.compile(r"\\([!-/:-@\[-`{-~])")
# How static site generators write "from the root of the content".
_CONTENT_ROOT = re.compile(r"(?:@site|@|~|\{\{\s*site\.baseurl\s*\}\})?/+")
_DATE = re.compile(r"\d{4}-\d{1,2}-\d{1,2}-")


def names_page(name: str) -> bool:
    """Whether a target is written as a Markdown file."""
    return name.lower().endswith(_PAGE_SUFFIXES)


def names_route(name: str) -> bool:
    """Whether a target is written as the address of a page: without suffix, or as .html."""
    last = posixpath.basename(name.rstrip("/"))
    return "." not in last.lstrip(".") or last.lower().endswith(_HTML_SUFFIXES)


def in_other_spellings(name: str) -> list[str]:
    """A target as written and as it may have been meant: escapes and character references resolved."""
    plain = html.unescape(_ESCAPED.sub(r"\1", name))
    return list(dict.fromkeys((name, plain, plain.replace("\\", "/"))))


class Folder:
    """The files of a folder, by the ways in which links name them.

    Paths are relative to the folder, with "/", without "." and "..". A lookup returns None when nothing is
    there, else the files found: several when it is open which one is meant, none when what is there is no
    single file (a folder without an index) or lies outside.
    """

    def __init__(self, root: str) -> None:
        self.root = os.path.abspath(root)
        self.pages: list[str] = []
        # Keyed by path without regard to case, since addresses of pages are often lower-cased.
        self._files: dict[str, str] = {}
        self._folders: dict[str, list[str]] = {"": []}
        self._routes: dict[str, list[tuple[tuple[str, ...], str]]] = {}
        self._siblings: dict[tuple[str, ...], dict[str, str]] = {}
        self._notes: dict[str, list[tuple[tuple[str, ...], str]]] = {}
        self._names: set[str] = set()
        self._spelling = Spelling()
        for path in self._walk():
            self._files.setdefault(path.casefold(), path)
            self._names.add(posixpath.basename(path).casefold())
            if path.lower().endswith(_PAGE_SUFFIXES):
                self._add_page(path)
        self._folder_notes = {note[-1] for folder in self._folders if (note := _note(folder))}
        self.resolves_by_name = os.path.isdir(os.path.join(self.root, ".obsidian"))

    def _walk(self) -> Iterator[str]:
        for folder, folders, files in os.walk(self.root):
            # What Git ignores is there all the same, but packages of other people are no targets.
            folders[:] = sorted(name for name in folders if name[0] != "." and name != "node_modules")
            relative = os.path.relpath(folder, self.root).replace(os.sep, "/")
            relative = "" if relative == "." else relative
            self._folders.setdefault(relative.casefold(), [])
            for name in sorted(files):
                yield posixpath.join(relative, name)

    def _add_page(self, path: str) -> None:
        self.pages.append(path)
        folder, name = posixpath.split(path)
        if posixpath.splitext(name)[0].casefold() in _INDEXES:
            self._folders[folder.casefold()].append(path)
        route = _route(path)
        if route:
            self._routes.setdefault(route[-1], []).append((route, path))
            self._siblings.setdefault(route[:-1], {}).setdefault(route[-1], path)
        note = _note(posixpath.splitext(path)[0])
        if note:
            self._notes.setdefault(note[-1], []).append((note, path))

    def find_link(self, name: str, source: str) -> list[str] | None:
        """What the path of an inline link or reference definition in the file `source` leads to."""
        for spelling in in_other_spellings(name):
            content_root = _CONTENT_ROOT.match(spelling)
            if content_root:
                found = self._find_from_root(spelling[content_root.end() :], source)
            else:
                found = self._find_relative(spelling, source)
            if found is not None:
                return found
        return None

    def _find_from_root(self, path: str, source: str) -> list[str] | None:
        path = posixpath.normpath(path) if path else ""
        if path in {"", "."}:
            return []
        return self._find_above(path, source) or self._find_outside(path) or self._find_anywhere(path)

    def _find_above(self, path: str, source: str) -> list[str] | None:
        """What is at `path` below the nearest folder above `source` that has it."""
        folder = posixpath.dirname(source)
        while True:
            found = self._at(posixpath.join(folder, path))
            if found is not None or folder == "":
                return found
            folder = posixpath.dirname(folder)

    def _find_outside(self, path: str) -> list[str] | None:
        """What is at `path` below a folder above the checked one, up to the top of its Git repository."""
        folder = self.root
        while not os.path.exists(os.path.join(folder, ".git")):
            above = os.path.dirname(folder)
            if above == folder:
                return None
            folder = above
            if os.path.lexists(os.path.join(folder, path)):
                return []
        return None

    def _find_anywhere(self, path: str) -> list[str] | None:
        """The pages whose path ends in `path`: site generators have content roots of their own."""
        route = _route(path)
        # An address may open with the name under which the whole site is served.
        for begin in range(min(len(route), 2)):
            tail = route[begin:]
            found = [page for whole, page in self._routes.get(route[-1], ()) if whole[-len(tail) :] == tail]
            if found:
                return found
        return [] if path.casefold() in self._files else None

    def _find_relative(self, path: str, source: str) -> list[str] | None:
        folder, name = posixpath.split(source)
        target = posixpath.normpath(posixpath.join(folder, path))
        if target == ".." or target.startswith("../"):
            return []
        found = self._at(target) or []
        exists = self._at(target) is not None
        stem = posixpath.splitext(name)[0]
        if stem.casefold() not in _INDEXES:
            # Served as `page/`, a page counts as a folder in the links that it holds.
            below = posixpath.normpath(posixpath.join(folder, stem, path))
            if not below.startswith("../") and (as_folder := self._at(below)) is not None:
                exists = True
                found = found + as_folder
        if exists:
            return found
        if not path.startswith("."):
            above = self._find_above(path, source)
            if above is not None:
                return above
        return self._find_anywhere(path) if self.resolves_by_name else None

    def _at(self, path: str) -> list[str] | None:
        """What a host or generator serves for this very path."""
        path = posixpath.normpath(path)
        path = "" if path == "." else path
        exact = self._files.get(path.casefold())
        if exact == path or (exact is not None and not names_page(path)):
            return [exact]
        stem, suffix = posixpath.splitext(path)
        bare = stem if suffix.lower() in _HTML_SUFFIXES else path
        found = [page for s in _PAGE_SUFFIXES if (page := self._files.get((bare + s).casefold()))]
        if suffix.lower() in _HTML_SUFFIXES and posixpath.basename(stem).casefold() == "index":
            bare = posixpath.dirname(bare)
        indexes = self._folders.get(bare.casefold())
        if indexes is not None:
            return found + indexes
        if found:
            return found
        # Hidden folders and what lies behind links to folders are not listed, yet they are there.
        return [] if os.path.exists(os.path.join(self.root, path)) else None

    def find_note(self, name: str, source: str) -> list[str] | None:
        """What the page of a wiki link in the file `source` leads to, the nearest first."""
        name = name.rstrip("\\").strip()
        path = posixpath.splitext(name)[0] if is_markdown(name) else name
        if path.startswith("."):
            path = posixpath.normpath(posixpath.join(posixpath.dirname(source), path))
            if path.startswith(".."):
                return []
        note = _note(path)
        if not note:
            return []
        found = [page for whole, page in self._notes.get(note[-1], ()) if whole[-len(note) :] == note]
        if found:
            return sorted(found, key=lambda page: _distance(page, source))
        if path.strip("/").casefold() in self._folders or posixpath.basename(name).casefold() in self._names:
            return []
        return [] if note[-1] in self._folder_notes else None

    def has_route_named(self, name: str) -> bool:
        """Whether a page anywhere in the folder has the last name of this address."""
        route = _route(name)
        return not route or route[-1] in self._routes

    def closest_page(self, name: str, source: str) -> str | None:
        """The page that a link to a missing page may have meant: a path as the link would write it."""
        wanted = _route(posixpath.normpath(posixpath.join(posixpath.dirname(source), name.lstrip("/@~"))))
        if not wanted:
            return None
        same_name = [page for _, page in self._routes.get(wanted[-1], ())]
        if same_name:
            page = min(same_name, key=lambda page: _distance(page, source))
        else:
            close = self._close_route(wanted)
            if close is None:
                return None
            page = close
        return posixpath.relpath(page, posixpath.dirname(source) or ".")

    def _close_route(self, wanted: tuple[str, ...]) -> str | None:
        siblings = self._siblings.get(wanted[:-1], {})
        close = self._spelling.closest(wanted[-1], siblings, 0.75, of=wanted[:-1])
        if close is not None:
            return siblings[close]
        close = self._spelling.closest(wanted[-1], self._routes, 0.85, of="route")
        return None if close is None else self._routes[close][0][1]

    def closest_note(self, name: str) -> str | None:
        """The name of the page that a wiki link to a missing page may have meant."""
        note = _note(name)
        close = self._spelling.closest(note[-1], self._notes, 0.8, of="note") if note else None
        return None if close is None else posixpath.splitext(posixpath.basename(self._notes[close][0][1]))[0]


def _route(path: str) -> tuple[str, ...]:
    """The names in the address of a page: no suffix, no index, no leading "_" or date, no case."""
    names = [name for name in path.casefold().split("/") if name not in {"", ".", ".."}]
    if names and names[-1].endswith((*_PAGE_SUFFIXES, *_HTML_SUFFIXES)):
        names[-1] = posixpath.splitext(names[-1])[0]
    if names and names[-1] in _INDEXES:
        names.pop()
    return tuple(_DATE.sub("", name).removeprefix("_") for name in names)


def _note(path: str) -> tuple[str, ...]:
    """The names in the path of a note without suffix; wikis write spaces as "-" or "_", and ignore case."""
    return tuple(squash(name) or name.casefold() for name in path.split("/") if name)


def _distance(page: str, source: str) -> tuple[int, str]:
    """How far a page is from a file, in folders to go up and down; the path itself settles a tie."""
    return posixpath.relpath(page, posixpath.dirname(source) or ".").count("/"), page
